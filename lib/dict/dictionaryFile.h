/*
 * dictionaryFile.h -- dictionaries in files, plain and encrypted
 *
 * Ownership: as in dictionary.h.
 * Errors:    a failed load leaves what was read so far; a failed open leaves the old contents.
 * Threads:   a dictionary belongs to one thread at a time.
 */
#pragma once

#include "lib/dict/dictionary.h"
#include "lib/file/fileIO.h"

G_BEGIN_DECLS

typedef struct KeyLocator KeyLocator;
typedef struct KeyLocatorState KeyLocatorState;
typedef struct KeySafe KeySafe;
typedef struct KeySafeUserRing KeySafeUserRing;

/* Replaces the contents by those of a file; "-" is standard input, NULL an empty file. Without an encoding in the file
 * it is that of the locale, or @encoding. */
gboolean Dictionary_Load(Dictionary *dictionary, const char *path);
gboolean Dictionary_LoadEx(Dictionary *dictionary, const char *path, MsgList **messages);
gboolean Dictionary_LoadWithDefaultEncoding(Dictionary *dictionary, const char *path,
                                            StringEncoding encoding);
/* Adds the contents of a file. */
gboolean Dictionary_Append(Dictionary *dictionary, const char *path);
/* Loads a file and opens its sealed part. Both @state and @ring may be NULL, for a file that has none. */
gboolean Dictionary_LoadAndUnlock(Dictionary *dictionary, const char *path, KeyLocatorState *state,
                                  KeySafeUserRing *ring);

/* The same with a file that is open, whose position is kept. */
gboolean Dictionary_LoadFile(Dictionary *dictionary, FileIODescriptor *file);
gboolean Dictionary_AppendFile(Dictionary *dictionary, FileIODescriptor *file);
gboolean Dictionary_LoadFileWithDefaultEncoding(Dictionary *dictionary, FileIODescriptor *file,
                                                StringEncoding encoding);
gboolean Dictionary_LoadFileAndUnlock(Dictionary *dictionary, FileIODescriptor *file,
                                      KeyLocatorState *state, KeySafeUserRing *ring);

/**
 * Dictionary_WriteFileEx:
 * @dictionary: a dictionary
 * @file: the file, open for writing
 * @temp: (nullable): a temporary of the caller's, used if it is valid; open again afterwards
 * @messages: (nullable): gets what went wrong
 *
 * Writes a temporary and renames it over the file. Where a temporary cannot be made or renamed, writes into the file.
 * Where it cannot be filled, fails and leaves the file as it was.
 */
gboolean Dictionary_WriteFileEx(Dictionary *dictionary, FileIODescriptor *file,
                                FileIODescriptor *temp, MsgList **messages);
gboolean Dictionary_WriteFile(Dictionary *dictionary, FileIODescriptor *file,
                              FileIODescriptor *temp);
/* Writes a path; a new file gets the mode 0754, less the umask. */
gboolean Dictionary_WriteSync(Dictionary *dictionary, const char *path);

/* Gives everybody who may read a file the right to execute it. */
gboolean Dictionary_MakeExecutable(const char *path);

/* Returns a path derived from @baseName and the value of a name (see Util_DeriveFileName()), to be released with free();
 * NULL if there is none. */
char *Dictionary_DeriveFileName(Dictionary *dictionary, const char *baseName, const char *name, ...)
    G_GNUC_PRINTF(3, 4);

/* -- encryption ---------------------------------------------------------------------------------- */

/* Whether there is a key safe, open or in the file. */
gboolean Dictionary_IsEncrypted(Dictionary *dictionary);

/* Opens the sealed part and adds its entries. TRUE if there is none. */
gboolean Dictionary_Unlock(Dictionary *dictionary, KeyLocatorState *state, KeySafeUserRing *ring);

/* Seals the dictionary with a new key for a ring from now on; without one it is no longer encrypted. The sealed part
 * of a dictionary that is still locked is lost. */
gboolean Dictionary_Rekey(Dictionary *dictionary, KeySafeUserRing *ring);

/* Takes over copies of another dictionary's keys. */
gboolean Dictionary_CopyCryptoState(Dictionary *dictionary, const Dictionary *source);

/* (transfer none) (nullable) */
KeySafe *Dictionary_GetKeySafe(const Dictionary *dictionary);

G_END_DECLS
