/*
 * sslLoader.h -- finds and opens the two libraries of OpenSSL
 *
 *   SSLOpenLibraries("/usr/lib/halden", true, &pair)
 *       beside this library:    DIR/FILE    DIR/libdir/lib/FILE/FILE
 *       beside the program:     the same
 *       under the directory:    DIR/lib/FILE-x86-64/FILE    DIR/lib/FILE/FILE    DIR/lib/FILE    DIR/FILE
 *
 * FILE is libcrypto.so.1.0.2 and libssl.so.1.0.2, both from the same place. The first pair that opens and is
 * not too old is taken. A process that runs set-uid or set-gid looks under the directory only, since its user
 * can put a program and what lies beside it where he likes (by a link).
 *
 * Ownership: an opened pair is the caller's.
 * Errors:    what was tried and did not do goes to the log. A libcrypto that has no version at all ends the
 *            process.
 * Threads:   under sslStateLock.
 */
#pragma once

struct SSLLibraryPair {
    void *crypto;
    void *ssl;
};

/* Whether a path begins at the root. */
bool SSL_IsFullPath(const char *path);

/* Opens one pair of files; on failure both handles are NULL and nothing stays open. */
bool SSLOpenLibrariesDirect(const char *cryptoPath, const char *sslPath, bool isVersionChecked,
                            SSLLibraryPair *pair);

/* Searches; libraryDir may be NULL. */
bool SSLOpenLibraries(const char *libraryDir, bool isVersionChecked, SSLLibraryPair *pair);

/* Looks all functions of sslNames.inc up and stores them behind their thunks; one that is missing ends the
 * process. */
void SSLResolveThunks(const SSLLibraryPair &pair);
