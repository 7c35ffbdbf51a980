/*
 * verifyCode.h -- verify results of OpenSSL 3 as those of 1.0.2:  79  ->  24
 *
 * One code that 1.0.2 had was given another number: "invalid CA certificate". Those up to 40 mean the same in both,
 * and 24, as OpenSSL 3 uses it now (issuer without a public key), can stay what it is.
 */
#pragma once

constexpr int kInvalidCa102 = 24;
constexpr int kInvalidCa3 = 79;

template <class Number> constexpr Number VerifyCode102(Number code) {
    return code == kInvalidCa3 ? kInvalidCa102 : code;
}
