/*
 * export.h -- marks what the shared library lets out
 */
#pragma once

#define ORVANE_EXPORT __attribute__((visibility("default")))
