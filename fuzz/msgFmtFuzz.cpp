/*
 * Formats of messages from anybody: no format reads an argument that is not there, or as another kind; a short buffer
 * gets the head of the whole text. Blocks of arguments from elsewhere lead to strings inside of them or to none.
 *
 * The first byte says which: a block for 'b', a format otherwise.
 */
#include <cstdarg>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz/storedText.h"
#include "lib/misc/glibPtr.h"
#include "lib/user/msgFmt.h"

namespace {

struct Arguments {
    MsgFmt_Arg *args = nullptr;
    gint count = 0;
};

G_GNUC_PRINTF(1, 2) Arguments Collect(const char *format, ...) {
    Arguments arguments;
    va_list list;
    va_start(list, format);
    FuzzRequire(MsgFmt_GetArgs(format, list, &arguments.args, &arguments.count, nullptr));
    va_end(list);
    return arguments;
}

gint CountBytes(gpointer data, const char *text, guint size) {
    FuzzRequire(strnlen(text, size) == size);
    *static_cast<size_t *>(data) += size;
    return 0;
}

gint CountSpec(gpointer data, const char *, guint positionSize, const char *spec, guint size) {
    *static_cast<size_t *>(data) += positionSize;
    return CountBytes(data, spec, size);
}

void CheckFormat(const std::string &format) {
    static const Arguments arguments = Collect("%d %s %f %lld %p %c %ls %d", -7, "text \xc3\xa4",
                                               1.5, 1LL << 40, &arguments, 'x', L"wide \u20ac", 3);
    size_t seen = 0;
    if (MsgFmt_Parse(CountBytes, CountSpec, &seen, format.c_str()) == 0)
        FuzzRequire(seen <= format.size());
    if (format.find("%n") == format.npos && format.find("%0") == format.npos)
        MsgFmt_ParseWin32(CountBytes, CountSpec, &seen, format.c_str());

    gsize length = 0;
    const MallocPtr<char> whole(
        MsgFmt_Asprintf(&length, format.c_str(), arguments.args, arguments.count));
    char head[20];
    const gint needed =
        MsgFmt_Snprintf(head, sizeof head, format.c_str(), arguments.args, arguments.count);
    FuzzRequire((whole == nullptr) == (needed < 0));
    if (whole == nullptr)
        return;
    FuzzRequire(length == static_cast<gsize>(needed));
    FuzzRequire(memcmp(head, whole.get(), std::min(length, sizeof head - 1)) == 0);
    FuzzRequire(length < sizeof head || head[sizeof head - 1] == '\0');
}

void CheckBlock(std::string_view bytes) {
    std::vector<MsgFmt_Arg> block(bytes.size() / sizeof(MsgFmt_Arg) + 1);
    memcpy(static_cast<void *>(block.data()), bytes.data(), bytes.size());
    const char *end = reinterpret_cast<const char *>(block.data()) + bytes.size();
    const auto count = static_cast<gint>(block.size() / 2);
    MsgFmt_UnswizzleArgs(block.data(), count, end);
    for (gint i = 0; i < count; i++) {
        const MsgFmt_Arg &arg = block[i];
        if (arg.type != MSGFMT_ARG_STRING8 || arg.string8 == nullptr)
            continue;
        FuzzRequire(arg.string8 >= reinterpret_cast<const char *>(block.data() + count));
        FuzzRequire(arg.string8 + strlen(arg.string8) < end);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string_view text = FuzzText(data, size);
    if (text.starts_with('b'))
        CheckBlock(text.substr(1));
    else
        CheckFormat(std::string(text));
    return 0;
}
