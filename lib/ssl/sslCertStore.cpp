// What a context trusts: the machine's CA certificates, or those that a caller names.
#include <cstring>

#include "lib/misc/glibPtr.h"
#include "lib/misc/log.h"
#include "lib/misc/panic.h"
#include "lib/ssl/sslErrors.h"
#include "lib/ssl/sslVerify.h"

namespace {

using BioPtr = std::unique_ptr<BIO, Release<__wrap_BIO_free>>;
using CertPtr = std::unique_ptr<X509, Release<__wrap_X509_free>>;
using StorePtr = std::unique_ptr<X509_STORE, Release<__wrap_X509_STORE_free>>;

struct HostStoreRow {
    bool isDirectory;
    const char *path;
};
constexpr HostStoreRow kHostStores[] = {
    {true, "/etc/ssl/certs"},         {false, "/etc/ssl/certs/ca-certificates.crt"},
    {true, "/etc/pki/tls"},           {false, "/etc/pki/tls/certs/ca-bundle.crt"},
    {false, "/etc/pki/tls/cert.pem"},
};

/* A BIO to read the text from, its NUL included. */
BioPtr BioOf(const char *text) {
    BioPtr bio(__wrap_BIO_new(__wrap_BIO_s_mem()));
    if (!bio) {
        Warning("Create BIO failed.\n");
        return nullptr;
    }
    const int size = static_cast<int>(strlen(text)) + 1;
    if (__wrap_BIO_write(bio.get(), text, size) == size)
        return bio;
    Warning("Unable to write to BIO.\n");
    return nullptr;
}

} // namespace

void SSLAddHostCAStore(SSL_CTX *ctx) {
    X509_STORE *store = __wrap_SSL_CTX_get_cert_store(ctx);
    X509_LOOKUP *directories = __wrap_X509_STORE_add_lookup(store, __wrap_X509_LOOKUP_hash_dir());
    X509_LOOKUP *files = __wrap_X509_STORE_add_lookup(store, __wrap_X509_LOOKUP_file());
    if (directories == nullptr || files == nullptr)
        Panic("SSL: Failed to add a lookup to the certificate store\n");
    for (const HostStoreRow &row : kHostStores)
        __wrap_X509_LOOKUP_ctrl(row.isDirectory ? directories : files,
                                row.isDirectory ? X509_L_ADD_DIR : X509_L_FILE_LOAD, row.path,
                                X509_FILETYPE_PEM, nullptr);
    __wrap_ERR_clear_error(); /* paths that are not there */
}

void SSLSetTrustedCAs(SSL_CTX *ctx, const char *const *list, gint32 count) {
    StorePtr store(__wrap_X509_STORE_new());
    if (!store)
        Panic("SSL: Failed to create a certificate store\n");
    for (gint32 i = 0; i < count; i++) {
        const BioPtr bio = BioOf(list[i]);
        if (!bio) {
            Warning("SSL: Failed to create BIO.\n");
            SSLPrintErrors(110);
            return;
        }
        const CertPtr cert(__wrap_PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr));
        if (!cert) {
            Warning("SSL: Invalid certificate in list (%d).\n", i);
            SSLPrintErrors(110);
        } else if (__wrap_X509_STORE_add_cert(store.get(), cert.get()) == 0) {
            Warning("SSL: Failed to add cert (%d) to store.", i);
            SSLPrintErrors(110);
        }
    }
    __wrap_SSL_CTX_set_cert_store(ctx, store.release());
}
