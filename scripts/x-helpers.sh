# Helpers for the scripts that work the real console on a virtual X display with xdotool:
# scripts/screenshots, scripts/check-package and tests/e2e/desktop. Sourced, not run.

# Prints the id of the visible window whose whole name matches the pattern (an extended regular
# expression, so parentheses are escaped), waiting up to a minute; prints nothing when none shows.
find_window() {
    local id=""
    for _ in $(seq 300); do
        id=$(xdotool search --onlyvisible --name "^$1\$" 2>/dev/null | tail -1) && [ -n "$id" ] && break
        sleep 0.2
    done
    echo "$id"
}

# Clicks at a point given relative to a window, and gives the console a moment to react.
click() {
    xdotool mousemove --window "$1" "$2" "$3" click 1
    sleep 0.5
}

# Clicks the middle of a dialog's bottom button.
click_bottom() {
    local WIDTH HEIGHT X Y SCREEN WINDOW
    eval "$(xdotool getwindowgeometry --shell "$1")"
    click "$1" $((WIDTH / 2)) $((HEIGHT - 30))
}

# Presses F12 in the focused screen and prints the path of the picture that the console writes
# into the folder, waiting up to 30 s; prints nothing when none comes. Earlier pictures in the
# folder are removed first.
f12_picture() {
    rm -f "$1"/screenshot_*.png
    xdotool key F12
    for _ in $(seq 300); do
        ls "$1"/screenshot_*.png >/dev/null 2>&1 && break
        sleep 0.1
    done
    ls "$1"/screenshot_*.png 2>/dev/null | head -1 || true
}

# Prints a PNG's size as WIDTHxHEIGHT: both stand big-endian in its header, from byte 16.
png_size() {
    local w1 w2 w3 w4 h1 h2 h3 h4
    read -r w1 w2 w3 w4 h1 h2 h3 h4 < <(od -An -tu1 -j16 -N8 "$1")
    echo "$(((w1 << 24) | (w2 << 16) | (w3 << 8) | w4))x$(((h1 << 24) | (h2 << 16) | (h3 << 8) | h4))"
}
