// The callbacks for a terminal, in force until a program gives others.
#include <cstdio>
#include <cstring>
#include <string>

#include "lib/misc/logText.h"
#include "lib/misc/productState.h"
#include "lib/misc/utilSafe.h"
#include "lib/user/msgId.h"
#include "lib/user/msgInt.h"

namespace {

constexpr gsize kMaxLine = 1024;
constexpr gsize kMaxTitle = 80;

/* Prints a text with its head. */
void PrintHead(const char *kind, const char *text) {
    const MsgText localized(Msg_GetString(kind));
    printf("\n\n%s %s:\n%s\n", ProductState_GetName(), localized.get(),
           LogText_EscapeControls(text).c_str());
}

/* Reads the number of a choice. False for a line that is no number in range. */
bool ReadNumber(guint count, guint *number) {
    char line[kMaxLine];
    if (fgets(line, sizeof line, stdin) == nullptr)
        return false;
    char *end;
    const guint64 value = g_ascii_strtoull(line, &end, 10);
    const gsize tail = strspn(end, "\t \r");
    if (!g_ascii_isdigit(line[0]) || (end[tail] != '\n' && end[tail] != '\0') || value >= count)
        return false;
    *number = static_cast<guint>(value);
    return true;
}

/* Offers choices until one is made. At the end of the input there is none: the result is then the count. */
guint Choose(char *const *buttons, guint count) {
    for (guint i = 0; i < count; i++)
        printf("%u) %s\n", i, MsgStripMnemonic(buttons[i]).get());
    for (;;) {
        const MsgText prompt(Msg_Format(MSG_MAGIC
                                        "(msg.msg.chooseNumber)Select a number from 0-%d: ",
                                        static_cast<int>(count) - 1));
        printf("\n%s", prompt.get());
        fflush(stdout);
        guint number;
        if (ReadNumber(count, &number))
            return number;
        if (feof(stdin) || ferror(stdin))
            return count;
    }
}

} // namespace

void MsgPostStderr(gint severity, const char * /* id */, const char *text) {
    const char *severityText =
        severity >= 0 && severity < static_cast<gint>(G_N_ELEMENTS(Msg_Severities))
            ? Msg_Severities[severity]
            : nullptr;
    const MsgText localized(severityText != nullptr ? Msg_GetString(severityText)
                                                    : UtilSafeStrdup0(""));
    fprintf(stderr, "\n%s %s:\n%s\n", ProductState_GetName(), localized.get(),
            LogText_EscapeControls(text).c_str());
}

guint MsgQuestionStdio(char *const *buttons, gint /* defaultAnswer */, const char * /* id */,
                       const char *text) {
    PrintHead(MSG_MAGIC "(msg.msg.question)Question", text);
    guint count = 0;
    while (buttons[count] != nullptr)
        count++;
    return Choose(buttons, count);
}

gint MsgHintStdio(gint hintType, const char * /* id */, const char *text) {
    PrintHead(MSG_MAGIC "(msg.msg.hint)Hint", text);
    const char *const *buttons =
        hintType == MSG_HINT_OKCANCEL ? Msg_OKCancelButtons : Msg_OKButtons;
    const guint count = hintType == MSG_HINT_OK ? 1 : hintType == MSG_HINT_OKCANCEL ? 2 : 0;
    MsgText first(Msg_GetString(buttons[0]));
    MsgText second(buttons[1] != nullptr ? Msg_GetString(buttons[1]) : nullptr);
    char *const names[] = {first.get(), second.get(), nullptr};
    const guint number = Choose(names, count);
    return number < count ? static_cast<gint>(number) : MSG_HINT_RESULT_NOT_SHOWN;
}

gboolean MsgProgressStdio(const char * /* id */, const char *text, gint percent,
                          gboolean /* cancelButton */) {
    static char title[kMaxTitle];
    if (percent < 0)
        g_strlcpy(title, std::string(text, strcspn(text, "\n")).c_str(),
                  sizeof title); /* one line */
    char line[kMaxTitle + 32];
    g_snprintf(line, sizeof line, "%.*s (%d%%)", 64, title, CLAMP(percent, 0, 100));
    printf("\r%-*.*s", 79, 79, line);
    if (percent > 100)
        printf("\n");
    fflush(stdout);
    return FALSE;
}
