/* Preloaded into the real daemon: a sleep of a second takes a millisecond, and the clocks go on by the second. */
#define _GNU_SOURCE
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

static long slept_s;

unsigned sleep(unsigned seconds) {
    const struct timespec shortened = {seconds / 1000, seconds % 1000 * 1000000L};
    slept_s += seconds;
    nanosleep(&shortened, 0);
    return 0;
}

int clock_gettime(clockid_t clock, struct timespec* now) {
    const long result = syscall(SYS_clock_gettime, clock, now);
    now->tv_sec += slept_s;
    return (int)result;
}

time_t time(time_t* unused) {
    struct timespec now;
    (void)unused;
    clock_gettime(CLOCK_REALTIME, &now);
    return now.tv_sec;
}
