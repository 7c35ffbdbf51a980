/*
 * Dictionary files from anybody: read as a file and as a buffer, or refused. What is written back is read again as the
 * same entries, and written again as the same text.
 */
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <string>

#include "fuzz/storedText.h"
#include "lib/dict/dictionaryFile.h"
#include "lib/misc/glibPtr.h"
#include "lib/misc/log.h"
#include "lib/user/msg.h"

namespace {

using DictionaryPtr = std::unique_ptr<Dictionary, Release<Dictionary_Free>>;

std::string Write(const DictionaryPtr &dictionary) {
    char *text;
    gsize size;
    FuzzRequire(Dictionary_WriteToBuffer(dictionary.get(), FALSE, &text, &size));
    const MallocPtr<char> owner(text);
    return {text, size - 1};
}

std::string Entries(const DictionaryPtr &dictionary) {
    std::string all;
    Dictionary_Iterate(
        dictionary.get(),
        [](const char *name, const char *value, gint, gpointer data) {
            *static_cast<std::string *>(data) += std::string(name) + "\n" + value + "\n";
        },
        &all, FALSE);
    return all;
}

void CheckWritten(const DictionaryPtr &dictionary) {
    const std::string first = Write(dictionary);
    const DictionaryPtr again(Dictionary_Create());
    FuzzRequire(Dictionary_LoadFromBuffer(again.get(), first.c_str(), FALSE));
    FuzzRequire(Entries(dictionary) == Entries(again));
    FuzzRequire(Write(again) == first);
}

/* Whether a carriage return is part of a line of a buffer. Written, with a line feed behind it, it is none. */
bool HasLoneReturn(const std::string &text) {
    for (size_t at = text.find('\r'); at != text.npos; at = text.find('\r', at + 1))
        if (text.compare(at, 2, "\r\n") != 0)
            return true;
    return false;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string text(FuzzText(data, size));
    const DictionaryPtr dictionary(Dictionary_Create());
    if (Dictionary_LoadFromBuffer(dictionary.get(), text.c_str(), FALSE) && !HasLoneReturn(text)) {
        CheckWritten(dictionary);
        Dict_SetString(dictionary.get(), "|\"\n\xc3\xa4", "added");
        CheckWritten(dictionary);
    }

    const int file = memfd_create("dictionary", MFD_CLOEXEC);
    FuzzRequire(file >= 0 && write(file, data, size) == static_cast<ssize_t>(size));
    const std::string path = "/proc/self/fd/" + std::to_string(file);
    if (Dictionary_LoadWithDefaultEncoding(dictionary.get(), path.c_str(), STRING_ENCODING_UTF8))
        CheckWritten(dictionary);
    close(file);
    Msg_Reset(FALSE);
    LogRing_Clear();
    return 0;
}
