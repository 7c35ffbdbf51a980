/*
 * ratio.h -- figures that mean the same on every machine: ours against a peer, side by side in one
 * run
 *
 * A bench program defines Google benchmarks named "decode/ours" and "decode/peer", and its main()
 * hands the rows to Ratio_Main(). Both sides run in turn, many times; what is printed is the median
 * of the ratios of the processor time of the calling thread, beside what is wanted:
 *
 *   decode   10,000 objects read and released   ours 21.3 ms   peer 19.8 ms   1.08   wanted 1.20 ok
 */
#pragma once

#include <span>

struct RatioRow {
    const char *name; /* "decode" for the benchmarks "decode/ours" and "decode/peer" */
    const char *what; /* what is measured against what */
    double wanted;    /* the ratio is to be at most this */
};

/* Runs the benchmarks and prints a line per row. Returns 0, or 1 if a row has no measurements: a
 * ratio above what is wanted is shown, not an error, since other work on the machine moves it. */
int Ratio_Main(int argc, char **argv, std::span<const RatioRow> rows);
