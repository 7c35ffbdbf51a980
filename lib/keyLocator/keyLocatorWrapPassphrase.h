/*
 * keyLocatorWrapPassphrase.h -- the passphrase under which locator texts and exported caches hold raw keys
 *
 * It keeps keys from being read by a casual look, and hides nothing: it is the same in every program that contains this
 * library. Changing it makes all stored texts with raw keys useless.
 */
#pragma once

inline constexpr char kKeyLocatorWrapPassphrase[] = "{1B2A3C4D-5E6F-4708-9A1B-2C3D4E5F6071}";
static_assert(sizeof kKeyLocatorWrapPassphrase == 38 + 1);
