/*
 * A file with all CA certificates of the machine takes some 30 ms to read. That is too long for every
 * handshake in an event loop, so the certificates are kept, and read again when the file has changed.
 */
#include "lib/ssl/sslCertStore.h"

#include <array>
#include <cstring>
#include <utility>
#include <vector>

#include <sys/stat.h>

#include "lib/misc/log.h"
#include "lib/misc/panic.h"
#include "lib/ssl/sslErrors.h"
#include "lib/ssl/sslPtr.h"
#include "lib/ssl/sslState.h"

namespace {

constexpr const char *kHostDirectories[] = {"/etc/ssl/certs", "/etc/pki/tls"};
constexpr auto kHostFiles = std::to_array<const char *>({
    "/etc/ssl/certs/ca-certificates.crt",
    "/etc/pki/tls/certs/ca-bundle.crt",
    "/etc/pki/tls/cert.pem",
});

/* The certificates of a file, with the state of the file when it was read. */
struct HostFile {
    struct stat about = {};
    std::vector<CertPtr> certs;

    bool IsUnchanged(const struct stat &now) const {
        return now.st_dev == about.st_dev && now.st_ino == about.st_ino &&
               now.st_size == about.st_size && now.st_mtim.tv_sec == about.st_mtim.tv_sec &&
               now.st_mtim.tv_nsec == about.st_mtim.tv_nsec;
    }
};
using HostFiles = std::array<HostFile, kHostFiles.size()>;

/* Created on first use; guarded by the state lock. */
constinit HostFiles *hostFiles = nullptr;

std::vector<CertPtr> ReadCerts(const char *path) {
    std::vector<CertPtr> certs;
    const BioPtr bio(__wrap_BIO_new_file(path, "r"));
    while (bio) {
        CertPtr cert(__wrap_PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr));
        if (!cert)
            break;
        certs.push_back(std::move(cert));
    }
    return certs;
}

/* Returns the certificates of a file; none if it does not exist. */
const std::vector<CertPtr> &CertsOf(HostFile *file, const char *path) {
    struct stat now = {};
    if (stat(path, &now) != 0)
        now = {};
    if (!file->IsUnchanged(now)) {
        file->certs = now.st_size > 0 ? ReadCerts(path) : std::vector<CertPtr>();
        file->about = now;
    }
    return file->certs;
}

/* Returns a BIO with the text, including its NUL. */
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
    if (directories == nullptr ||
        __wrap_X509_STORE_add_lookup(store, __wrap_X509_LOOKUP_file()) == nullptr)
        Panic("SSL: Failed to add a lookup to the certificate store\n");
    for (const char *path : kHostDirectories)
        __wrap_X509_LOOKUP_ctrl(directories, X509_L_ADD_DIR, path, X509_FILETYPE_PEM, nullptr);

    const SSLStateGuard guard;
    if (hostFiles == nullptr)
        hostFiles = new HostFiles;
    for (gsize i = 0; i < kHostFiles.size(); i++) {
        for (const CertPtr &cert : CertsOf(&(*hostFiles)[i], kHostFiles[i]))
            __wrap_X509_STORE_add_cert(store, cert.get());
    }
    __wrap_ERR_clear_error(); /* of missing paths, and of the end of each file */
}

void SSLForgetHostCAs() {
    delete std::exchange(hostFiles, nullptr);
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

SSL_CTX *SSLTrustingContext() {
    const SSLStateGuard guard;
    if (sslModule.ssl_ctx != nullptr && !sslModule.hasHostCAs) {
        SSLAddHostCAStore(sslModule.ssl_ctx);
        sslModule.hasHostCAs = true;
    }
    return sslModule.ssl_ctx;
}
