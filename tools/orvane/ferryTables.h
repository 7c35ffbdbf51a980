/*
 * ferryTables.h -- tables of the schema for what the program shows of the second service: conversion jobs, sessions
 *
 * The library has these classes without their fields. Tables that an installation has of its own are stronger: if they
 * say something else, those here are not used, and what they would have named is not shown.
 */
#pragma once

namespace orvaneCli {

/* Adds the tables. The library has been started, and no type of the schema was used yet. */
void AddFerryTables();

} // namespace orvaneCli
