/*
 * verifyCode.h -- verify results of OpenSSL 3 as those of 1.0.2:  79  ->  24
 *
 * "Invalid CA certificate" has another number in OpenSSL 3. All other codes up to 40 have the same meaning in
 * both. 24, which OpenSSL 3 uses for an issuer without a public key, is left as it is.
 */
#pragma once

constexpr int kInvalidCa102 = 24;
constexpr int kInvalidCa3 = 79;

template <class Number> constexpr Number VerifyCode102(Number code) {
    return code == kInvalidCa3 ? kInvalidCa102 : code;
}
