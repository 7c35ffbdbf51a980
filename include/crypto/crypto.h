/*
 * crypto.h -- all headers of the cryptography facade
 */
#pragma once

#include <crypto/cryptoCipher.h>
#include <crypto/cryptoDict.h>
#include <crypto/cryptoError.h>
#include <crypto/cryptoHash.h>
#include <crypto/cryptoKey.h>
#include <crypto/cryptoPassword.h>
#include <crypto/cryptoRandom.h>
#include <crypto/cryptoSector.h>
