#include "lib/ssl/sslDhParams.h"

#include <array>
#include <cstdlib>
#include <span>

#include "lib/misc/log.h"
#include "lib/misc/utilSafe.h"
#include "lib/ssl/sslAccess.h"
#include "lib/ssl/sslErrors.h"
#include "lib/ssl/sslPtr.h"
#include "lib/ssl/sslState.h"

namespace {

/* The first of the cache's slots after those of the files. */
enum { SSL_SLOT_BUILT_IN = SSL_DH_FILES };

consteval guint8 Digit(char c) {
    return static_cast<guint8>(c <= '9' ? c - '0' : c - 'A' + 10);
}

/* Converts hexadecimal digits to bytes. */
template <size_t size> consteval auto Bytes(const char (&digits)[size]) {
    std::array<guint8, (size - 1) / 2> bytes{};
    for (size_t i = 0; i < bytes.size(); i++)
        bytes[i] = static_cast<guint8>(Digit(digits[2 * i]) * 16 + Digit(digits[2 * i + 1]));
    return bytes;
}

/* The primes assigned to the SKIP protocol, for the generator 2. Each is twice a prime plus 1. */
constexpr auto kSkip1024 =
    Bytes("F488FD584E49DBCD20B49DE49107366B336C380D451D0F7C88B31C7C5B2D8EF6"
          "F3C923C043F0A55B188D8EBB558CB85D38D334FD7C175743A31D186CDE33212C"
          "B52AFF3CE1B1294018118D7C84A70A72D686C40319C807297ACA950CD9969FAB"
          "D00A509B0246D3083D66A45D419F9C7CBD894B221926BAABA25EC355E92F78C7");
constexpr auto kSkip2048 =
    Bytes("F64257B7087F081772A2BAD6A942F305E8F95311394FB6F16EB94B3820DA01A7"
          "56A314E98F4055F3D007C6CB43A994ADF74C648649F80C83BD65E917D4A1D350"
          "F8F5595FDC76524F3D3D8DDBCE99E1579259CDFDB8AE744FC5FC76BC83C54730"
          "61CE7CC966FF15F9BBFD915EC701AAD35B9E8DA0A5723AD41AF0BF4600582BE5"
          "F488FD584E49DBCD20B49DE49107366B336C380D451D0F7C88B31C7C5B2D8EF6"
          "F3C923C043F0A55B188D8EBB558CB85D38D334FD7C175743A31D186CDE33212C"
          "B52AFF3CE1B1294018118D7C84A70A72D686C40319C807297ACA950CD9969FAB"
          "D00A509B0246D3083D66A45D419F9C7CBD894B221926BAABA25EC355E9320B3B");
constexpr auto kSkip4096 =
    Bytes("FA147252C14DE15A49D4EF092DC0A8FD55ABD7D937042809E2E93E77E2A17A18"
          "DD46A34337239097F30EC903507D65CF7862A63A622283A12FFE79BA35FF59D8"
          "1D61DD1E211317FECD38879EF54F7910618DD422F35AED5DEA21E9336B48120A"
          "2077D4256061DEF6B44F1C63408B3A21938B7953512CCAB37B2956A8C7F8F47B"
          "085EA6DCA2451256DD4192F2DD5B8F23F0F3EFE43B0A44DDED9684F1A83246A3"
          "DB4ABE3D45BA4EF803E5DD6B590D841ECA165A8CC8DF7C5444C427A73B2A97CE"
          "A37D269CADF4C2AC374BC3AD68847F99A617EF6B463A7A367A114392ADE99CFB"
          "446C3D8249CC5C6A5242F842FB44F93973FB60793BC29E0BDCD4A667F7663FFC"
          "423B1BDB4F66DCA58F66F9EAC1ED31FB48A1827DF8E0CCB1C703E4F8B3FEB7A3"
          "1373A67BC10E39C7944826008579FC6F7AAFC5523575D775A440FA14746116F2"
          "EB67116F04433D11144CA7942A39A1C990CF83C6FF028FA32AAC26DF0B8BBE64"
          "4AF1A1DCEEBAC80382F6622C5DB6BB13196E86C55B2B5E3AF3B3286B70713A8E"
          "FF5C15E602A4CEED5956CC155107791A0F25262730A915B2C8D45CCC30E81BD8"
          "D50F19A880A4C701AA8BBA53BB47C21F6B54B01760ED792195B6058437C803A4"
          "DDD106698F4C39E0C85D831DBE6A9A99F39F0B4529D4CB2966EE1E7E3DD7134E"
          "DB909058CB5E9BCD2E2B0FA94E78AC05117FE39E27D499E1B9BD78E18441A0DF");

constexpr std::array<guint8, 1> kGenerator = {2};

struct BuiltInRow {
    size_t slot;
    std::span<const guint8> prime;
};
constexpr BuiltInRow kBuiltIn1024 = {SSL_SLOT_BUILT_IN + 0, kSkip1024};
constexpr BuiltInRow kBuiltIn2048 = {SSL_SLOT_BUILT_IN + 1, kSkip2048};
constexpr BuiltInRow kBuiltIn4096 = {SSL_SLOT_BUILT_IN + 2, kSkip4096};

/* Stores an object in an empty slot. A filled slot keeps its object, and the new one is released. Returns the
 * object in the slot. */
DH *SSLSetCachedDHParams(size_t slot, DhPtr dh) {
    DH *present = nullptr;
    if (sslModule.SSLDHParamsCache[slot].compare_exchange_strong(present, dh.get(),
                                                                 std::memory_order_acq_rel))
        return dh.release();
    return present;
}

DH *CachedDHParams(size_t slot) {
    return sslModule.SSLDHParamsCache[slot].load(std::memory_order_acquire);
}

void SSLLoadDHParams(size_t slot, const char *path) {
    if (path == nullptr)
        return; /* before SSL_Init(), and SSL_SetDHParamFiles() has set the file of another length */
    const BioPtr bio(SSL_BIO_new_file(path, "r"));
    if (bio == nullptr) {
        Warning("Error opening DH parameter file \"%s\".\n", path);
        return;
    }
    DhPtr dh(__wrap_PEM_read_bio_DHparams(bio.get(), nullptr, nullptr, nullptr));
    if (dh == nullptr) {
        Warning("Error reading DH parameter file \"%s\".\n", path);
        return;
    }
    SSLSetCachedDHParams(slot, std::move(dh));
}

BigNumPtr Number(std::span<const guint8> bytes) {
    return BigNumPtr(__wrap_BN_bin2bn(bytes.data(), static_cast<int>(bytes.size()), nullptr));
}

/* Returns NULL without memory. */
DhPtr NewDHParams(std::span<const guint8> prime, std::span<const guint8> generator) {
    DhPtr dh(__wrap_DH_new());
    BigNumPtr p = Number(prime);
    BigNumPtr g = Number(generator);
    if (dh == nullptr || p == nullptr || g == nullptr ||
        !SSLAccess_SetDHParams(dh.get(), p.get(), g.get()))
        return nullptr;
    (void)p.release(); /* dh owns them now */
    (void)g.release();
    return dh;
}

DH *SSLTmpDHFromConstants(SSL *ssl, size_t slot, std::span<const guint8> prime,
                          std::span<const guint8> generator) {
    DH *dh = CachedDHParams(slot);
    if (dh == nullptr) {
        DhPtr made = NewDHParams(prime, generator);
        if (made == nullptr)
            return nullptr;
        dh = SSLSetCachedDHParams(slot, std::move(made));
    }
    __wrap_SSL_ctrl(ssl, SSL_CTRL_OPTIONS, SSL_OP_SINGLE_DH_USE, nullptr);
    return dh;
}

bool Wants1024(int keyLength) {
    return keyLength <= 1024 && sslModule.allowDH1024;
}

size_t FileSlot(int keyLength) {
    if (Wants1024(keyLength))
        return 0;
    return keyLength > 2048 ? 2 : 1;
}

const BuiltInRow &BuiltIn(int keyLength) {
    if (Wants1024(keyLength))
        return kBuiltIn1024;
    return keyLength > 2048 ? kBuiltIn4096 : kBuiltIn2048;
}

} // namespace

DH *SSLTmpDHFilesCallback(SSL *, int, int keyLength) {
    SSLStateGuard guard;
    const size_t slot = FileSlot(keyLength);
    if (!sslModule.SSLDHParamsFilesTriedLoad[slot]) {
        SSLLoadDHParams(slot, sslModule.SSLDHParamsFiles[slot]);
        sslModule.SSLDHParamsFilesTriedLoad[slot] = true;
    }
    return CachedDHParams(slot);
}

DH *SSLTmpDHFilesSKIPCallback(SSL *ssl, int isExport, int keyLength) {
    DH *dh = SSLTmpDHFilesCallback(ssl, isExport, keyLength);
    if (dh != nullptr)
        return dh;
    SSLClearErrors(); /* otherwise the errors of reading count as errors of the handshake */
    SSLStateGuard guard;
    const BuiltInRow &row = BuiltIn(keyLength);
    return SSLTmpDHFromConstants(ssl, row.slot, row.prime, kGenerator);
}

void SSL_SetDHParamFiles(const char *f1024, const char *f2048, const char *f4096) {
    SSLStateGuard guard;
    const char *const files[SSL_DH_FILES] = {f1024, f2048, f4096};
    for (size_t i = 0; i < SSL_DH_FILES; i++) {
        if (files[i] == nullptr)
            continue;
        free(sslModule.SSLDHParamsFiles[i]);
        sslModule.SSLDHParamsFiles[i] = UtilSafeStrdup0(files[i]);
    }
}

void SSL_Disable1024DHParams(void) {
    SSLStateGuard guard;
    sslModule.allowDH1024 = false;
}

void SSL_DisableSKIPDHParams(SSL *ssl) {
    __wrap_SSL_set_tmp_dh_callback(ssl, SSLTmpDHFilesCallback);
}
