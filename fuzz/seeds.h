/*
 * seeds.h -- what a fuzz target of a peer starts from: the attacks of tests/hostile, made short
 *
 *   build/fuzz/bin/sessionScenarioFuzz --seeds FOLDER
 */
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "tests/hostile/rows.h"

/* Writes a file for each row, with what the function makes of the row and its answer, and ends the process; does
 * nothing if the command line does not say so. An empty text is left out. */
void WriteSeeds(
    int argc, char **argv,
    const std::function<std::string(const hostile::Row &row, const std::string &answer)> &seed);

/* Ends the process if what is expected does not hold. */
void Require(bool holds, const std::string &otherwise);

/* Whether the input has the beginning of the secrets of tests/hostile in it. What a peer repeats in a form of its own
 * making cannot be recognised; the rows have the forms that are. */
bool ShowsSecret(const uint8_t *data, size_t size);

/* Complaints of GLib end the process from now on; failed checks of the reader go to the log. */
void RequireNoComplaints();
