#include <cstdio>
#include <cstring>
#include <ctime>

#include <fcntl.h>
#include <linux/fb.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {
double milliseconds()
{
    timespec now {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return double(now.tv_sec) * 1e3 + double(now.tv_nsec) / 1e6;
}
} // namespace

// Starts a program on the framebuffer and prints the milliseconds from its start to its first
// frame there: the panel blanked, then the middle of it read every millisecond until it is drawn.
// Ends the program with SIGTERM. A shell loop that reads the panel with dd and od forks three
// programs on every look; under emulation that took a processor of two from the program measured
// and could not see steps finer than the system clock's 10 ms.
//   ostrel-bench-firstframe PROGRAM [ARGUMENT...]   (the panel: /dev/fb0)
int main(int argc, char *argv[])
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s PROGRAM [ARGUMENT...]\n", argv[0]);
        return 2;
    }
    const int panel = open("/dev/fb0", O_RDWR | O_CLOEXEC);
    fb_var_screeninfo variable {};
    fb_fix_screeninfo fixed {};
    if (panel < 0 || ioctl(panel, FBIOGET_VSCREENINFO, &variable) != 0
        || ioctl(panel, FBIOGET_FSCREENINFO, &fixed) != 0) {
        std::perror("/dev/fb0");
        return 1;
    }
    const size_t size = size_t(fixed.line_length) * variable.yres;
    void *mapped = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, panel, 0);
    if (mapped == MAP_FAILED) {
        std::perror("mmap");
        return 1;
    }
    auto *pixels = static_cast<volatile unsigned char *>(mapped);
    std::memset(mapped, 0, size);
    const size_t pixelBytes = variable.bits_per_pixel / 8;
    volatile unsigned char *middle = pixels + size_t(fixed.line_length) * (variable.yres / 2)
            + pixelBytes * (variable.xres / 2);
    const auto drawn = [&] {
        for (size_t i = 0; i < pixelBytes; ++i) {
            if (middle[i] != 0)
                return true;
        }
        return false;
    };

    const double start = milliseconds();
    const pid_t program = fork();
    if (program == 0) {
        const int nowhere = open("/dev/null", O_WRONLY);
        dup2(nowhere, STDOUT_FILENO);
        dup2(nowhere, STDERR_FILENO);
        execv(argv[1], argv + 1);
        _exit(127);
    }
    int status = 0;
    while (!drawn()) {
        if (waitpid(program, &status, WNOHANG) == program) {
            std::fprintf(stderr, "%s ended before its first frame\n", argv[1]);
            return 1;
        }
        usleep(1000);
    }
    const double end = milliseconds();
    kill(program, SIGTERM);
    waitpid(program, &status, 0);
    std::printf("%.0f\n", end - start);
    return 0;
}
