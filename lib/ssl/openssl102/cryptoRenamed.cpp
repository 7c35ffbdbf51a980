// Functions of libcrypto that have another name in OpenSSL 3.
#include "lib/ssl/openssl102/openssl102.h"

#include <openssl/buffer.h>
#include <openssl/stack.h>

OPENSSL102(OPENSSL_STACK *, sk_new_null) {
    return OPENSSL_sk_new_null();
}

OPENSSL102(void, sk_free, OPENSSL_STACK *stack) {
    OPENSSL_sk_free(stack);
}

OPENSSL102(void, sk_pop_free, OPENSSL_STACK *stack, void (*freeFn)(void *element)) {
    OPENSSL_sk_pop_free(stack, freeFn);
}

OPENSSL102(void, sk_zero, OPENSSL_STACK *stack) {
    OPENSSL_sk_zero(stack);
}

OPENSSL102(int, sk_push, OPENSSL_STACK *stack, void *element) {
    return OPENSSL_sk_push(stack, element);
}

OPENSSL102(int, sk_num, const OPENSSL_STACK *stack) {
    return OPENSSL_sk_num(stack);
}

OPENSSL102(void *, sk_value, const OPENSSL_STACK *stack, int index) {
    return OPENSSL_sk_value(stack, index);
}

OPENSSL102(int, EVP_MD_size, const EVP_MD *digest) {
    return EVP_MD_get_size(digest);
}

OPENSSL102(int, EVP_CIPHER_iv_length, const EVP_CIPHER *cipher) {
    return EVP_CIPHER_get_iv_length(cipher);
}

OPENSSL102(int, EVP_PKEY_bits, EVP_PKEY *key) {
    return EVP_PKEY_get_bits(key);
}

OPENSSL102(int, EVP_PKEY_size, EVP_PKEY *key) {
    return EVP_PKEY_get_size(key);
}

OPENSSL102(unsigned long, X509_NAME_hash, X509_NAME *name) {
    return X509_NAME_hash_ex(name, nullptr, nullptr, nullptr);
}

OPENSSL102(STACK_OF(X509) *, X509_STORE_CTX_get_chain, X509_STORE_CTX *storeContext) {
    return X509_STORE_CTX_get0_chain(storeContext);
}

OPENSSL102(void, X509_STORE_CTX_trusted_stack, X509_STORE_CTX *storeContext,
           STACK_OF(X509) * certs) {
    X509_STORE_CTX_set0_trusted_stack(storeContext, certs);
}

OPENSSL102(size_t, BUF_strlcpy, char *to, const char *from, size_t size) {
    return OPENSSL_strlcpy(to, from, size);
}
