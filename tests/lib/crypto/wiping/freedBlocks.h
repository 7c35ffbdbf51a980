/*
 * freedBlocks.h -- what is in the blocks of our code at the moment when they are freed
 *
 *   FreedBlocks_Start(FREED_BLOCKS_NO_FAILURE);
 *   CryptoKey_Free(key);
 *   FreedBlocks_Stop();
 *   EXPECT_FALSE(FreedBlocks_Has(secret));
 *
 * The linker leads calls of malloc(), free() and their like in all objects of the program here; shared libraries
 * keep their own. New blocks are zeroed, so that nothing of others is found in them.
 *
 * Threads: one.
 */
#pragma once

#include <cstddef>
#include <string_view>

inline constexpr int FREED_BLOCKS_NO_FAILURE = -1;

/* Begins to keep what is freed. The allocation of this number, from 0, fails. */
void FreedBlocks_Start(int failingAllocation);

/* Ends it. Returns the number of allocations. */
int FreedBlocks_Stop();

/* Whether any eight bytes in a row of a secret were in a block. */
bool FreedBlocks_Has(std::string_view secret);
