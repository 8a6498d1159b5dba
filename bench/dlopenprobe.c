/* Prints the nanoseconds that dlopen() takes for the shared object named by the argument. */
#define _POSIX_C_SOURCE 200809L

#include <dlfcn.h>
#include <stdio.h>
#include <time.h>

static double now(void) {
    struct timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return 1e9 * (double)time.tv_sec + (double)time.tv_nsec;
}

int main(int argc, char** argv) {
    if (argc != 2) {
        return 2;
    }
    const double start = now();
    if (!dlopen(argv[1], RTLD_NOW)) {
        fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    printf("%.0f\n", now() - start);
    return 0;
}
