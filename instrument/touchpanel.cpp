// A finger on the emulated instrument's panel: a multi-touch device of the kernel's (uinput), as a
// touch panel's driver makes one, worked by lines written into a named pipe:
//   tap X Y                  a finger down and up again
//   drag X1 Y1 X2 Y2 STEPS   a finger down, moved in steps some 20 ms apart, and lifted
// Run once at start-up, before the console, which then finds the device among the others.
//   touchpanel PIPE WIDTH HEIGHT

#include <fcntl.h>
#include <linux/uinput.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace {

int device = -1;

void emit(int type, int code, int value)
{
    input_event event {};
    event.type = type;
    event.code = code;
    event.value = value;
    if (write(device, &event, sizeof event) != sizeof event)
        std::perror("touchpanel: write");
}

void axis(int code, int maximum)
{
    uinput_abs_setup setup {};
    setup.code = code;
    setup.absinfo.maximum = maximum;
    ioctl(device, UI_ABS_SETUP, &setup);
}

void pause(int milliseconds)
{
    const timespec time {0, milliseconds * 1000000L};
    nanosleep(&time, nullptr);
}

void touch(bool down, int x, int y)
{
    static int tracking = 0;
    emit(EV_ABS, ABS_MT_SLOT, 0);
    emit(EV_ABS, ABS_MT_TRACKING_ID, down ? ++tracking : -1);
    if (down) {
        emit(EV_ABS, ABS_MT_POSITION_X, x);
        emit(EV_ABS, ABS_MT_POSITION_Y, y);
        emit(EV_ABS, ABS_X, x);
        emit(EV_ABS, ABS_Y, y);
    }
    emit(EV_KEY, BTN_TOUCH, down ? 1 : 0);
    emit(EV_SYN, SYN_REPORT, 0);
}

void move(int x, int y)
{
    emit(EV_ABS, ABS_MT_SLOT, 0);
    emit(EV_ABS, ABS_MT_POSITION_X, x);
    emit(EV_ABS, ABS_MT_POSITION_Y, y);
    emit(EV_ABS, ABS_X, x);
    emit(EV_ABS, ABS_Y, y);
    emit(EV_SYN, SYN_REPORT, 0);
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc != 4) {
        std::fprintf(stderr, "usage: touchpanel PIPE WIDTH HEIGHT\n");
        return 2;
    }
    const int width = std::atoi(argv[2]), height = std::atoi(argv[3]);
    device = open("/dev/uinput", O_WRONLY | O_CLOEXEC);
    if (device < 0) {
        std::perror("touchpanel: /dev/uinput");
        return 1;
    }
    ioctl(device, UI_SET_EVBIT, EV_KEY);
    ioctl(device, UI_SET_KEYBIT, BTN_TOUCH);
    ioctl(device, UI_SET_EVBIT, EV_ABS);
    ioctl(device, UI_SET_PROPBIT, INPUT_PROP_DIRECT);
    axis(ABS_X, width - 1);
    axis(ABS_Y, height - 1);
    axis(ABS_MT_SLOT, 9);
    axis(ABS_MT_TRACKING_ID, 65535);
    axis(ABS_MT_POSITION_X, width - 1);
    axis(ABS_MT_POSITION_Y, height - 1);
    uinput_setup setup {};
    setup.id.bustype = BUS_VIRTUAL;
    std::strcpy(setup.name, "Ostrel touch panel");
    if (ioctl(device, UI_DEV_SETUP, &setup) < 0 || ioctl(device, UI_DEV_CREATE) < 0) {
        std::perror("touchpanel: creating the device");
        return 1;
    }
    mkfifo(argv[1], 0600);
    for (;;) {
        FILE *pipe = std::fopen(argv[1], "r");
        if (!pipe)
            return 1;
        char line[128];
        while (std::fgets(line, sizeof line, pipe)) {
            int x1, y1, x2, y2, steps;
            if (std::sscanf(line, "tap %d %d", &x1, &y1) == 2) {
                touch(true, x1, y1);
                pause(50);
                touch(false, x1, y1);
            } else if (std::sscanf(line, "drag %d %d %d %d %d", &x1, &y1, &x2, &y2, &steps) == 5
                       && steps > 0) {
                touch(true, x1, y1);
                for (int step = 1; step <= steps; ++step) {
                    pause(20);
                    move(x1 + (x2 - x1) * step / steps, y1 + (y2 - y1) * step / steps);
                }
                // Resting before the lift, so that the drag is not taken for a flick.
                pause(300);
                touch(false, x2, y2);
            }
        }
        std::fclose(pipe);
    }
}
