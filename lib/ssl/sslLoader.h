/*
 * sslLoader.h -- finds and opens the two libraries of OpenSSL
 *
 *   SSLOpenLibraries("/usr/lib/halden", true, &pair)
 *       beside this library:    DIR/FILE    DIR/libdir/lib/FILE/FILE
 *       beside the program:     the same
 *       under the directory:    DIR/lib/FILE-x86-64/FILE    DIR/lib/FILE/FILE    DIR/lib/FILE    DIR/FILE
 *
 * FILE is libcrypto.so.1.0.2 and libssl.so.1.0.2, both from the same place. The first pair that can be opened
 * and is not too old is used. A process that runs set-uid or set-gid searches the directory only, since its
 * user can choose where the program and the files beside it are (by a link).
 *
 * Ownership: an opened pair belongs to the caller.
 * Errors:    failed attempts are logged. A libcrypto without a version function ends the process.
 * Threads:   the caller holds sslStateLock.
 */
#pragma once

struct SSLLibraryPair {
    void *crypto;
    void *ssl;
};

/* Returns whether a path begins at the root. */
bool SSL_IsFullPath(const char *path);

/* Opens one pair of files. After a failure both handles are NULL, and nothing stays open. */
bool SSLOpenLibrariesDirect(const char *cryptoPath, const char *sslPath, bool isVersionChecked,
                            SSLLibraryPair *pair);

/* Searches and opens a pair; libraryDir may be NULL. */
bool SSLOpenLibraries(const char *libraryDir, bool isVersionChecked, SSLLibraryPair *pair);

/* Looks up all functions of sslNames.inc and stores them for their thunks. A missing one ends the process. */
void SSLResolveThunks(const SSLLibraryPair &pair);
