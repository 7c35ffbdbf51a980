// lib/keyLocator/keySafeError.cpp
#include "lib/keyLocator/keySafeError.h"

#include <array>
#include <cstring>

namespace {

/* By code. The texts are the stored form of localisable messages. */
constexpr auto kErrors = std::to_array<const char *>({
    "@&!*@*@(msg.keysafe.success)The operation completed successfully",
    "@&!*@*@(msg.keysafe.mem)Memory exhausted",
    "@&!*@*@(msg.keysafe.failed)Encryption failed",
    "@&!*@*@(msg.keysafe.needKey)Required key was not supplied",
    "@&!*@*@(msg.keysafe.badFormat)The import data format is not recognized",
    "@&!*@*@(msg.keysafe.unknown)Unknown error",
    "@&!*@*@(msg.keysafe.locked)This operation is not valid on locked key safe",
    "@&!*@*@(msg.keysafe.empty)Key safe contains no locators",
    "@&!*@*@(msg.keysafe.io)I/O error",
    "@&!*@*@(msg.keysafe.locator)Key locator error",
    "@&!*@*@(msg.keysafe.param)Incorrect parameter",
});
static_assert(kErrors.size() == KEYSAFE_ERROR_PARAMETER + 1);

constexpr const char *kUnknownError = "@&!*@*@(msg.keysafe.inval)Unknown Key safe error";

} // namespace

const char *KeySafeError_ToMsgString(KeySafeError error) {
    return error < kErrors.size() ? kErrors[error] : kUnknownError;
}

/* All texts of the table have an identifier. */
const char *KeySafeError_ToString(KeySafeError error) {
    return strchr(KeySafeError_ToMsgString(error), ')') + 1;
}
