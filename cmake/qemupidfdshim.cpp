// Preloaded into the programs that a cross build runs under qemu-user. Qt 5.15 starts child
// processes with clone(CLONE_PIDFD) wherever waitid() knows pidfds; qemu 7.2 passes that query
// to the kernel, which knows them, but refuses the clone flag itself. Qt then takes the failed
// clone for a child with pid -1, and stopping that child would signal every process there is.
// Told that pidfds are unknown, Qt forks as it does on older kernels.

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <dlfcn.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#ifndef P_PIDFD
#define P_PIDFD 3
#endif

extern "C" long syscall(long number, ...)
{
    va_list arguments;
    va_start(arguments, number);
    long argument[6];
    for (long &value : argument)
        value = va_arg(arguments, long);
    va_end(arguments);
    if (number == SYS_waitid && argument[0] == P_PIDFD) {
        errno = EINVAL;
        return -1;
    }
    static const auto next = reinterpret_cast<long (*)(long, ...)>(dlsym(RTLD_NEXT, "syscall"));
    return next(number, argument[0], argument[1], argument[2], argument[3], argument[4],
                argument[5]);
}

// The children of these programs are the machine's own or start qemu afresh: none takes it.
__attribute__((constructor)) static void forgetPreload()
{
    unsetenv("LD_PRELOAD");
}
