/*
 * keySafeRingWrapPassphrase.h -- the passphrase under which exported user rings hold their keys
 *
 * It keeps keys from being read by a casual look, and hides nothing: it is the same in every program that contains this
 * library. Changing it makes all stored rings useless.
 */
#pragma once

inline constexpr char kKeySafeRingWrapPassphrase[] = "{0C1D2E3F-4A5B-4c6d-8E7F-9A0B1C2D3E4F}";
static_assert(sizeof kKeySafeRingWrapPassphrase == 38 + 1);
