/*
 * shaBodiesInt.h -- the bodies that need instructions of one kind of processor
 *
 * Each pair belongs to the row of its processor in shaBodies.cpp, and is compiled for that processor only.
 */
#pragma once

#include <glib.h>

#if defined(__x86_64__)
bool ShaX86_IsUsable();
void ShaX86_Sha1(guint32 *words, const guint8 *blocks, gsize numBlocks);
void ShaX86_Sha256(guint32 *words, const guint8 *blocks, gsize numBlocks);
#elif defined(__aarch64__)
bool ShaArm_IsUsable();
void ShaArm_Sha1(guint32 *words, const guint8 *blocks, gsize numBlocks);
void ShaArm_Sha256(guint32 *words, const guint8 *blocks, gsize numBlocks);
#endif
