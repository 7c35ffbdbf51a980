/*
 * Catalogues of messages from anybody: loaded or refused; a text of one is shown as it is, and formats only what it
 * fits.
 */
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "fuzz/storedText.h"
#include "lib/misc/glibPtr.h"
#include "lib/misc/log.h"
#include "lib/user/msg.h"
#include "lib/user/msgFmt.h"

namespace {

constexpr const char *kMessages[] = {
    "@&!*@*@(msg.a)%s",
    "@&!*@*@(button.b)_Yes",
    "@&!*@*@(msg.dictionary.open)%d",
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const int file = memfd_create("catalogue", MFD_CLOEXEC);
    FuzzRequire(file >= 0 && write(file, data, size) == static_cast<ssize_t>(size));
    const std::string path = "/proc/self/fd/" + std::to_string(file);
    const gboolean isLoaded = Msg_LoadMessageFile("xx", path.c_str());
    close(file);
    FuzzRequire(strcmp(Msg_GetLocale(), isLoaded ? "xx" : "en") == 0);

    char text[] = "text";
    MsgFmt_Arg args[2] = {};
    args[0].type = MSGFMT_ARG_STRING8;
    args[0].precision = -1;
    args[0].string8 = text;
    args[1].type = MSGFMT_ARG_INT32;
    for (const char *message : kMessages) {
        const MallocPtr<char> format(Msg_GetString(message));
        const MallocPtr<char> button(Msg_GetPlainButtonText(message));
        FuzzRequire(strlen(button.get()) <= strlen(format.get()));
        for (gint count = 0; count <= 2; count++)
            free(MsgFmt_Asprintf(nullptr, format.get(), args, count));
    }
    Msg_SetLocale(nullptr, nullptr);
    Msg_Reset(FALSE);
    LogRing_Clear();
    return 0;
}
