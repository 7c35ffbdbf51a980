/*
 * manglePassphraseSalt.h -- the salt of Crypto_ManglePassphrase()
 *
 * It makes equal passphrases give equal texts, and hides nothing: it is the same in every program that contains this
 * library. Changing it makes all stored texts useless.
 */
#pragma once

#include <array>

#include <glib.h>

inline constexpr std::array<guint8, 16> kManglePassphraseSalt = {
    0xa7, 0x1e, 0x4c, 0xd2, 0x93, 0x0b, 0x68, 0xf5, 0x3d, 0xb4, 0x5a, 0x81, 0xce, 0x27, 0x70, 0x19};
