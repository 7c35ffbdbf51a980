// Contexts with the defaults of 1.0.2, and the control commands whose meaning has changed.
#include "lib/ssl/openssl102/openssl102.h"

#include <cstdint>

namespace {

/* Commands of 1.0.2 that OpenSSL 3 no longer has. */
enum : int {
    kNeedTmpRsa = 1,
    kSetTmpRsa = 2,
    kGetSessionReused = 8,
    kOptions = 32,
    kClearOptions = 77,
    kSetEcdhAuto = 94,
};

/* Option bits with the same meaning in both. The others are stored, so that they read back, and have no
 * effect: OpenSSL 3 either always or never does what they select in 1.0.2 (such as a new DH key for each
 * connection, or no SSL 2). Passed to OpenSSL 3 they would select something else, such as renegotiation by
 * clients. */
constexpr uint64_t kKept = 0x9ec7f854;
constexpr uint64_t kAll = 0xffffffff;

/* Marks the stored word of a connection. Without it the word of its context applies. */
constexpr uint64_t kIsOwn = uint64_t{1} << 32;

int contextSlot = -1;
int connectionSlot = -1;
CRYPTO_ONCE slotsOnce = CRYPTO_ONCE_STATIC_INIT;

void MakeSlots() {
    contextSlot =
        CRYPTO_get_ex_new_index(CRYPTO_EX_INDEX_SSL_CTX, 0, nullptr, nullptr, nullptr, nullptr);
    connectionSlot =
        CRYPTO_get_ex_new_index(CRYPTO_EX_INDEX_SSL, 0, nullptr, nullptr, nullptr, nullptr);
}

uint64_t Word(void *pointer) {
    return reinterpret_cast<uintptr_t>(pointer);
}

/* The stored bits of a context. */
struct ContextBits {
    SSL_CTX *ctx;
    uint64_t Get() const { return Word(SSL_CTX_get_ex_data(ctx, contextSlot)); }
    void Set(uint64_t bits) const {
        SSL_CTX_set_ex_data(ctx, contextSlot, reinterpret_cast<void *>(bits));
    }
    uint64_t SetReal(uint64_t bits) const { return SSL_CTX_set_options(ctx, bits); }
    uint64_t ClearReal(uint64_t bits) const { return SSL_CTX_clear_options(ctx, bits); }
};

/* The stored bits of a connection. */
struct ConnectionBits {
    SSL *ssl;
    uint64_t Get() const {
        const uint64_t own = Word(SSL_get_ex_data(ssl, connectionSlot));
        return own != 0 ? own & kAll : ContextBits{SSL_get_SSL_CTX(ssl)}.Get();
    }
    void Set(uint64_t bits) const {
        SSL_set_ex_data(ssl, connectionSlot, reinterpret_cast<void *>(bits | kIsOwn));
    }
    uint64_t SetReal(uint64_t bits) const { return SSL_set_options(ssl, bits); }
    uint64_t ClearReal(uint64_t bits) const { return SSL_clear_options(ssl, bits); }
};

/* Sets or clears options and returns the word of 1.0.2. */
template <class Bits> long ChangeOptions(Bits bits, bool isSet, long number) {
    CRYPTO_THREAD_run_once(&slotsOnce, MakeSlots);
    const uint64_t wanted = static_cast<uint64_t>(number) & kAll;
    const uint64_t real = isSet ? bits.SetReal(wanted & kKept) : bits.ClearReal(wanted & kKept);
    const uint64_t before = bits.Get();
    const uint64_t stored = isSet ? before | (wanted & ~kKept) : before & ~wanted;
    if (stored != before)
        bits.Set(stored);
    return static_cast<long>((real & kKept) | stored);
}

/* The commands for both kinds of object. Returns false if OpenSSL 3 handles the command. */
template <class Bits> bool Control102(Bits bits, int command, long number, long *result) {
    switch (command) {
    case kOptions:
    case kClearOptions:
        *result = ChangeOptions(bits, command == kOptions, number);
        return true;
    case kNeedTmpRsa: // keys of export strength: never needed, and accepted without effect
        *result = 0;
        return true;
    case kSetTmpRsa:
    case kSetEcdhAuto: // the choice of the curve is always OpenSSL's
        *result = 1;
        return true;
    default:
        return false;
    }
}

} // namespace

USES_GENUINE(SSL_CTX_new);
USES_GENUINE(SSL_CTX_ctrl);
USES_GENUINE(SSL_ctrl);

/*
 * Sets the defaults of 1.0.2. It had no policy of a distribution or an administrator (security level 2, a
 * lowest version), and the callers set versions and ciphers themselves. SSL_get_error() requires
 * IGNORE_UNEXPECTED_EOF. There is no highest version: TLS 1.3 is used if both sides support it.
 */
OPENSSL102(SSL_CTX *, SSL_CTX_new, const SSL_METHOD *method) {
    SSL_CTX *ctx = GENUINE(SSL_CTX_new)(method);
    if (ctx == nullptr)
        return nullptr;
    SSL_CTX_set_security_level(ctx, 0);
    GENUINE(SSL_CTX_ctrl)(ctx, SSL_CTRL_SET_MIN_PROTO_VERSION, 0, nullptr);
    GENUINE(SSL_CTX_ctrl)(ctx, SSL_CTRL_SET_MAX_PROTO_VERSION, 0, nullptr);
    SSL_CTX_set_options(ctx, SSL_OP_LEGACY_SERVER_CONNECT | SSL_OP_IGNORE_UNEXPECTED_EOF);
    SSL_CTX_clear_options(ctx, SSL_OP_NO_COMPRESSION);
    return ctx;
}

OPENSSL102(long, SSL_CTX_ctrl, SSL_CTX *ctx, int command, long number, void *pointer) {
    long result = 0;
    if (ctx != nullptr && Control102(ContextBits{ctx}, command, number, &result))
        return result;
    return GENUINE(SSL_CTX_ctrl)(ctx, command, number, pointer);
}

OPENSSL102(long, SSL_ctrl, SSL *ssl, int command, long number, void *pointer) {
    long result = 0;
    if (command == kGetSessionReused)
        return SSL_session_reused(ssl);
    if (Control102(ConnectionBits{ssl}, command, number, &result))
        return result;
    return GENUINE(SSL_ctrl)(ssl, command, number, pointer);
}
