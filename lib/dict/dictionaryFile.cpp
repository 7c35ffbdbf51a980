// Dictionaries and files: loading, and writing through a temporary.
#include "lib/dict/dictionaryFile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "lib/dict/dictionaryInt.h"
#include "lib/dict/dictll.h"
#include "lib/file/file.h"
#include "lib/file/fileCalls.h"
#include "lib/misc/err.h"
#include "lib/misc/log.h"
#include "lib/misc/panic.h"

namespace {

constexpr mode_t kNewFileMode = 0754;
constexpr mode_t kModeBits = 07777;
constexpr gsize kReadStep = 64 * 1024;

using Stream = std::unique_ptr<FILE, Release<fclose>>;

/* Bytes that were read, and the errno that ended the reading; 0 at the end of the file. */
struct Contents {
    SecretBlock block;
    gsize size = 0;
    int error = 0;
};

/* Reads a stream to its end. */
Contents ReadAll(FILE *stream) {
    Contents contents;
    for (;;) {
        if (contents.block.size() - contents.size < kReadStep) {
            SecretBlock larger = SecretBlock::Allocate(
                MAX(contents.block.size() * 2, contents.size + 2 * kReadStep));
            VERIFY(static_cast<bool>(larger));
            if (contents.size > 0)
                memcpy(larger.data(), contents.block.data(), contents.size);
            contents.block = std::move(larger);
        }
        errno = 0;
        const gsize size = fread(contents.block.data() + contents.size, 1, kReadStep, stream);
        contents.size += size;
        if (size == kReadStep)
            continue;
        if (ferror(stream))
            contents.error = errno != 0 ? errno : EIO;
        return contents;
    }
}

/*
 * Reads the lines of a stream. It is read whole first, which gives the same lines as reading one by one, also
 * after a late error.
 */
bool DictionaryLoadFile(Dictionary *dictionary, FILE *stream, const char *fileName,
                        StringEncoding encoding, MsgList **messages) {
    dictionary->fileName = fileName;
    dictionary->lineNumber = 0;
    /* the stream's own buffer would keep a copy of what may be secret; without one a stream over the table of calls
     * reads byte by byte */
    const SecretBlock buffer = SecretBlock::Allocate(kReadStep);
    VERIFY(static_cast<bool>(buffer));
    setvbuf(stream, reinterpret_cast<char *>(buffer.data()), _IOFBF, buffer.size());
    const bool hasMark = DictLL_ReadUTF8BOM(stream);
    const Contents contents = ReadAll(stream);
    setvbuf(stream, nullptr, _IONBF, 0);
    std::string_view text(reinterpret_cast<const char *>(contents.block.data()), contents.size);
    if (contents.error != 0) /* the line that the error cut is not taken */
        text = text.substr(0, text.find_last_of("\r\n") + 1);

    bool isLoaded = DictionaryReadLines(dictionary, text, DictionaryLineEnds::Stream, messages);
    if (isLoaded && contents.error != 0) {
        MsgList_Append(messages, "@&!*@*@(msg.dictionary.read.readError)File \"%s\" line %d: %s.\n",
                       fileName, dictionary->lineNumber + 1, Err_Errno2String(contents.error));
        isLoaded = false;
    }
    isLoaded = isLoaded && DictionarySettleEncoding(dictionary, hasMark, encoding, messages);
    dictionary->fileName = nullptr;
    dictionary->lineNumber = 0;
    return isLoaded;
}

/* Opens a path for reading. NULL after a line in the log and a message. */
Stream OpenForReading(const char *path, MsgList **messages) {
    constexpr const char *kFunction = "DictionaryLoad";
    const int fd = gFileCalls->open(path, O_RDONLY | O_CLOEXEC, 0);
    if (fd < 0) {
        const char *reason = Err_ErrString();
        Log("%s: Cannot open file \"%s\": %s.\n", kFunction, path, reason);
        MsgList_Append(messages,
                       "@&!*@*@(msg.dictionary.load.openFailed)Cannot open file \"%s\": %s.\n",
                       path, reason);
        return nullptr;
    }
    struct stat status;
    if (fstat(fd, &status) != 0) {
        const char *reason = Err_ErrString();
        Log("%s: Unable to get information about file \"%s\": %s.\n", kFunction, path, reason);
        MsgList_Append(messages,
                       "@&!*@*@(msg.dictionary.load.statFailed)Unable to get information about "
                       "file \"%s\": %s.\n",
                       path, reason);
        gFileCalls->close(fd);
        return nullptr;
    }
    if (S_ISDIR(status.st_mode)) {
        Log("%s: \"%s\" is a directory.\n", kFunction, path);
        MsgList_Append(messages, "@&!*@*@(msg.dictionary.load.isDirectory)\"%s\" is a directory.\n",
                       path);
        gFileCalls->close(fd);
        return nullptr;
    }
    Stream stream(FileCalls_OpenStream(fd, "r"));
    VERIFY(stream != nullptr); /* else there is no memory */
    return stream;
}

bool DictionaryLoad(Dictionary *dictionary, const char *path, bool isReplacing,
                    StringEncoding encoding, MsgList **messages) {
    const bool isStdin = path != nullptr && strcmp(path, "-") == 0;
    Stream stream;
    if (path != nullptr && !isStdin) {
        stream = OpenForReading(path, messages);
        if (stream == nullptr)
            return false;
    }
    if (isReplacing)
        Dictionary_Clear(dictionary);
    if (path == nullptr)
        return true;
    return DictionaryLoadFile(dictionary, isStdin ? stdin : stream.get(),
                              isStdin ? "<stdin>" : path, encoding, messages);
}

/* Reads a file that is open, from its start, and puts its position back. */
bool DictionaryLoadFileIO(Dictionary *dictionary, FileIODescriptor *file, bool isReplacing,
                          StringEncoding encoding, MsgList **messages) {
    const char *fileName = FileIO_Filename(file);
    const auto fail = [&](guint64 position) {
        if (position != G_MAXUINT64)
            return false;
        MsgList_Append(messages,
                       "@&!*@*@(msg.dictionary.loadFile.seekFailed)Cannot seek file \"%s\": %s.\n",
                       fileName, Err_ErrString());
        return true;
    };
    const guint64 before = FileIO_Seek(file, 0, FILEIO_SEEK_CURRENT);
    if (fail(before) || fail(FileIO_Seek(file, 0, FILEIO_SEEK_BEGIN)))
        return false;
    const Stream stream(FileIO_DescriptorToStream(file, TRUE));
    if (stream == nullptr) {
        const char *reason = Err_ErrString();
        MsgList_Append(messages,
                       "@&!*@*@(msg.dictionary.load.openFailed)Cannot open file \"%s\": %s.\n",
                       fileName, reason);
        return false;
    }
    if (isReplacing)
        Dictionary_Clear(dictionary);
    const bool isLoaded =
        DictionaryLoadFile(dictionary, stream.get(), fileName, encoding, messages);
    return !fail(FileIO_Seek(file, static_cast<gint64>(before), FILEIO_SEEK_BEGIN)) && isLoaded;
}

/* Writes a text as the whole contents of a file. A failed flush counts as success unless it is @needsFlush. */
bool DictionaryWriteFile(FileIODescriptor *file, std::string_view text, bool needsFlush,
                         MsgList **messages) {
    const char *name = FileIO_Filename(file);
    const Stream stream(FileIO_DescriptorToStream(file, FALSE));
    if (stream == nullptr) {
        MsgList_Append(messages,
                       "@&!*@*@(msg.dictionary.writefile.descToStream)An error occurred while "
                       "converting the descriptor of file \"%s\" while it is open: %s.\n",
                       name, Err_ErrString());
        return false;
    }
    /* the stream's own buffer would keep a copy of what may be secret */
    setvbuf(stream.get(), nullptr, _IONBF, 0);
    if (fseek(stream.get(), 0, SEEK_SET) != 0) {
        MsgList_Append(messages,
                       "@&!*@*@(msg.dictionary.writefile.seek)An error occurred while seeking "
                       "within configuration file \"%s\":%s.\n",
                       name, Err_ErrString());
        return false;
    }
    if (fwrite(text.data(), 1, text.size(), stream.get()) != text.size()) {
        MsgList_Append(messages,
                       "@&!*@*@(msg.dictionary.writefile.write)An error occurred while writing "
                       "configuration file \"%s\": %s.\n",
                       name, Err_ErrString());
        return false;
    }
    if (!FileIO_Truncate(file, text.size())) {
        MsgList_Append(messages,
                       "@&!*@*@(msg.dictionary.writefile.truncate)An error occurred while "
                       "truncating configuration file \"%s\":%s.\n",
                       name, Err_ErrString());
        return false;
    }
    bool isFlushed = true;
    if (fflush(stream.get()) != 0) {
        isFlushed = false;
        MsgList_Append(messages,
                       "@&!*@*@(msg.dictionary.writefile.flush)An error occurred while flushing "
                       "configuration file \"%s\": %s.\n",
                       name, Err_ErrString());
    }
    if (FileIO_Sync(file) != FILEIO_SUCCESS) {
        isFlushed = false;
        MsgList_Append(messages,
                       "@&!*@*@(msg.dictionary.writefile.sync)An error occurred while syncing "
                       "configuration file \"%s\": %s.\n",
                       name, Err_ErrString());
    }
    return isFlushed || !needsFlush;
}

} // namespace

gboolean Dictionary_LoadEx(Dictionary *dictionary, const char *path, MsgList **messages) {
    return DictionaryLoad(dictionary, path, true, STRING_ENCODING_DEFAULT, messages);
}

gboolean Dictionary_Load(Dictionary *dictionary, const char *path) {
    return Dictionary_LoadWithDefaultEncoding(dictionary, path, STRING_ENCODING_DEFAULT);
}

gboolean Dictionary_LoadWithDefaultEncoding(Dictionary *dictionary, const char *path,
                                            StringEncoding encoding) {
    PendingMessages messages;
    return DictionaryLoad(dictionary, path, true, encoding, messages);
}

gboolean Dictionary_Append(Dictionary *dictionary, const char *path) {
    PendingMessages messages;
    return DictionaryLoad(dictionary, path, false, STRING_ENCODING_DEFAULT, messages);
}

gboolean Dictionary_LoadAndUnlock(Dictionary *dictionary, const char *path, KeyLocatorState *state,
                                  KeySafeUserRing *ring) {
    return Dictionary_Load(dictionary, path) && Dictionary_Unlock(dictionary, state, ring);
}

gboolean Dictionary_LoadFile(Dictionary *dictionary, FileIODescriptor *file) {
    return Dictionary_LoadFileWithDefaultEncoding(dictionary, file, STRING_ENCODING_DEFAULT);
}

gboolean Dictionary_AppendFile(Dictionary *dictionary, FileIODescriptor *file) {
    PendingMessages messages;
    return DictionaryLoadFileIO(dictionary, file, false, STRING_ENCODING_DEFAULT, messages);
}

gboolean Dictionary_LoadFileWithDefaultEncoding(Dictionary *dictionary, FileIODescriptor *file,
                                                StringEncoding encoding) {
    PendingMessages messages;
    return DictionaryLoadFileIO(dictionary, file, true, encoding, messages);
}

gboolean Dictionary_LoadFileAndUnlock(Dictionary *dictionary, FileIODescriptor *file,
                                      KeyLocatorState *state, KeySafeUserRing *ring) {
    return Dictionary_LoadFile(dictionary, file) && Dictionary_Unlock(dictionary, state, ring);
}

gboolean Dictionary_WriteFile(Dictionary *dictionary, FileIODescriptor *file,
                              FileIODescriptor *temp) {
    PendingMessages messages;
    return Dictionary_WriteFileEx(dictionary, file, temp, messages);
}

gboolean Dictionary_WriteFileEx(Dictionary *dictionary, FileIODescriptor *file,
                                FileIODescriptor *temp, MsgList **messages) {
    char *buffer;
    gsize size;
    if (!Dictionary_WriteToBuffer(dictionary, TRUE, &buffer, &size)) {
        MsgList_Append(messages,
                       "@&!*@*@(msg.dictionary.writefile.export)An error occurred while exporting "
                       "a dictionary to a buffer.\n");
        return FALSE;
    }
    const SecretBlock owner(buffer, size);
    const std::string_view text(buffer, size - 1);

    FileIODescriptor made;
    FileIO_Invalidate(&made);
    const bool isCallers = temp != nullptr && FileIO_IsValid(temp);
    const std::string tempName(isCallers ? FileIO_Filename(temp) : "");
    const guint32 tempAccess = isCallers ? FileIO_GetFlags(temp) : 0;
    FileIODescriptor *used = isCallers ? temp : &made;

    const bool hasTemp = isCallers || FileIO_AtomicTempFile(file, &made) == FILEIO_SUCCESS;
    /* A temporary that cannot be filled, on a full disk, leaves the old file whole. Without one, or without a rename,
     * the file itself is written. */
    bool isWritten = !hasTemp || DictionaryWriteFile(used, text, true, messages);
    if (isWritten && !(hasTemp && FileIO_AtomicRename(used, file)))
        isWritten = DictionaryWriteFile(file, text, false, messages);
    if (FileIO_IsValid(&made))
        FileIO_CloseAndUnlink(&made);
    if (isCallers && !FileIO_IsValid(temp))
        FileIO_Open(temp, tempName.c_str(), tempAccess, FILEIO_OPEN_CREATE);
    return isWritten;
}

gboolean Dictionary_WriteSync(Dictionary *dictionary, const char *path) {
    PendingMessages messages;
    struct stat status;
    const mode_t mode = stat(path, &status) == 0 ? status.st_mode & kModeBits : kNewFileMode;

    FileIODescriptor file;
    FileIO_Invalidate(&file);
    const FileIOResult result = FileIO_Create(
        &file, path, FILEIO_OPEN_ACCESS_READ | FILEIO_OPEN_ACCESS_WRITE, FILEIO_OPEN_CREATE, mode);
    if (result != FILEIO_SUCCESS) {
        switch (errno) {
        case EPERM:
        case EACCES:
        case EROFS:
            MsgList_Append(messages,
                           "@&!*@*@(msg.dictionary.permissions)Access to \"%s\" failed due to "
                           "file system permissions issues\n",
                           path);
            return FALSE;
        case ENAMETOOLONG:
            MsgList_Append(messages, "@&!*@*@(msg.dictionary.nameTooLong)%s", path);
            return FALSE;
        default:
            MsgList_Append(messages,
                           "@&!*@*@(msg.dictionary.open)Cannot open configuration file \"%s\": "
                           "%s.\n",
                           path, Err_ErrString());
            return FALSE;
        }
    }
    gboolean isWritten = Dictionary_WriteFileEx(dictionary, &file, nullptr, messages);
    if (FileIO_Close(&file)) {
        MsgList_Append(messages,
                       "@&!*@*@(msg.dictionary.close)An error occurred while closing "
                       "configuration file \"%s\": %s.\n",
                       path, Err_ErrString());
        isWritten = FALSE;
    }
    return isWritten;
}

gboolean Dictionary_MakeExecutable(const char *path) {
    constexpr const char *kFunction = "Dictionary_MakeExecutable";
    struct stat status;
    if (stat(path, &status) != 0) {
        Log("%s: cannot stat configuration file %s: %s\n", kFunction, path, Err_ErrString());
        return FALSE;
    }
    /* each right to read lies two bits above that to execute */
    const mode_t readers = status.st_mode & (S_IRUSR | S_IRGRP | S_IROTH);
    if (chmod(path, (status.st_mode & kModeBits) | readers >> 2) == 0)
        return TRUE;
    Log("%s: cannot change mode of file %s: %s\n", kFunction, path, Err_ErrString());
    return FALSE;
}

char *Dictionary_DeriveFileName(Dictionary *dictionary, const char *baseName, const char *name,
                                ...) {
    char key[1024];
    va_list arguments;
    va_start(arguments, name);
    g_vsnprintf(key, sizeof key, name, arguments);
    va_end(arguments);
    const MallocPtr<char> value(Dict_GetString(dictionary, nullptr, "%s", key));
    char *path = Util_DeriveFileName(baseName, value.get(), nullptr);
    if (path == nullptr)
        Warning("%s: couldn't get filename\n", "Dictionary_DeriveFileName");
    return path;
}
