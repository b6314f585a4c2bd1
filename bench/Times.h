#pragma once

#include <QString>

#include <time.h>

#include <cstdio>

// Wall-clock and processor time together: the machine may be shared, and
// the processor time of all threads shows what the work itself costs.
struct Times {
    double wall = 0;
    double cpu = 0;

    Times operator-(const Times& other) const { return { wall - other.wall, cpu - other.cpu }; }
    Times& operator+=(const Times& other)
    {
        wall += other.wall;
        cpu += other.cpu;
        return *this;
    }
};

inline Times now()
{
    timespec wall {};
    timespec cpu {};
    clock_gettime(CLOCK_MONOTONIC, &wall);
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &cpu);
    return { wall.tv_sec + wall.tv_nsec / 1e9, cpu.tv_sec + cpu.tv_nsec / 1e9 };
}

inline void printRow(const QString& what, const Times& times)
{
    std::printf("  %-66s %7.2f s %7.2f s\n", qPrintable(what), times.wall, times.cpu);
}
