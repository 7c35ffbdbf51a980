// What something costs that a process does once: each measurement is a child that reports through a pipe.
#pragma once

#include <vector>

struct Cost {
    double ms;        /* of the processor */
    double megabytes; /* that the allocator has handed out more than before */
};

Cost InFreshProcess(void (*work)());
double Median(std::vector<double> values);
/* "ok" or "ABOVE" */
const char *Verdict(double value, double wanted);
