#include "tools/orvane/message.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

#include <fmt/format.h>

#include "lib/misc/err.h"
#include "lib/misc/glibPtr.h"
#include "lib/misc/log.h"
#include "lib/user/msg.h"
#include "tools/orvane/failure.h"
#include "tools/orvane/question.h"
#include "tools/orvane/terminal.h"

namespace orvaneCli {

namespace {

using MsgText = MallocPtr<char>;

constexpr int kMostAttempts = 3;

/* The signal that ended the last question; the exception must not pass through the library, which has no
 * exceptions. */
constinit int gEndOfQuestion = 0;

/* "de" of "de_DE.UTF-8"; empty for the texts of the source. */
std::string Language() {
    for (const char *name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char *locale = secure_getenv(name);
        if (locale == nullptr || *locale == '\0')
            continue;
        const std::string language(locale, strcspn(locale, "_.@"));
        const bool isName =
            language.size() == 2 && g_ascii_islower(language[0]) && g_ascii_islower(language[1]);
        return isName && language != "en" ? language : "";
    }
    return "";
}

void OnPost(gint severity, const char * /* id */, const char *text) {
    std::string line(text);
    while (line.ends_with('\n'))
        line.pop_back();
    if (severity == MSG_ERROR)
        Warning("PROGRAM: %s\n", line.c_str());
    const std::string shown = fmt::format("orvane: {}\n", line);
    std::fflush(stdout);
    /* there is no other place to report that stderr does not work */
    (void)!std::fwrite(shown.data(), 1, shown.size(), stderr);
}

/* "yes, once or no" */
std::string Words(char *const *buttons) {
    std::string words;
    for (char *const *button = buttons; *button != nullptr; button++) {
        const GPtr<char> word(g_utf8_strdown(*button, -1));
        const bool isLast = button[1] == nullptr;
        if (button != buttons)
            words += isLast ? Text(MSGID("question.or") " or ") : ", ";
        words += word.get();
    }
    return words;
}

/* Returns the index of the button with this word, or -1. */
int FindButton(char *const *buttons, const std::string &answer) {
    const GPtr<char> folded(g_utf8_casefold(answer.c_str(), -1));
    for (int i = 0; buttons[i] != nullptr; i++) {
        const GPtr<char> word(g_utf8_casefold(buttons[i], -1));
        if (strcmp(word.get(), folded.get()) == 0)
            return i;
    }
    return -1;
}

int AskForButton(char *const *buttons, int defaultButton, const char *question) {
    if (!CanAsk())
        return defaultButton;
    std::string text = question;
    for (int i = 0; i < kMostAttempts; i++) {
        const auto answer = Ask(text);
        if (!answer)
            break;
        const int found =
            g_utf8_validate(answer->c_str(), -1, nullptr) ? FindButton(buttons, *answer) : -1;
        if (found >= 0)
            return found;
        text = Text(MSGID("question.again") "Please answer %s: ", Words(buttons).c_str());
    }
    return defaultButton;
}

guint OnQuestion(char *const *buttons, gint defaultAnswer, const char * /* id */,
                 const char *text) {
    std::string question(text);
    while (question.ends_with('\n'))
        question.pop_back(); /* the answer is typed behind it */
    try {
        return static_cast<guint>(AskForButton(buttons, defaultAnswer, (question + " ").c_str()));
    } catch (const Interrupted &interrupted) {
        gEndOfQuestion = interrupted.status - kInterrupted;
        return static_cast<guint>(defaultAnswer);
    }
}

gint OnHint(gint /* type */, const char *id, const char *text) {
    OnPost(MSG_INFO, id, text);
    return MSG_HINT_RESULT_OK;
}

} // namespace

void StartMessages() {
    MsgCallback callbacks{};
    callbacks.post = OnPost;
    callbacks.question = OnQuestion;
    callbacks.hint = OnHint;
    Msg_SetCallback(&callbacks);
    if (const std::string language = Language(); !language.empty())
        Msg_SetLocale(language.c_str(), "orvane");
}

void EndMessages() {
    Msg_Exit();
}

std::string Text(const char *message, ...) {
    va_list arguments;
    va_start(arguments, message);
    const MsgText text(Msg_VFormat(message, arguments));
    va_end(arguments);
    return ForTerminal(text.get());
}

const char *ErrorText(int error) {
    return Err_Errno2String(error);
}

std::string PlainText(const char *message) {
    const MsgText text(Msg_GetString(message));
    return ForTerminal(text.get());
}

void Report(const std::string &text) {
    Msg_Reset(TRUE); /* what the text is made of already is only logged */
    Msg_Post(MSG_ERROR, MSGID("failure") "%s", text.c_str());
}

int Choose(const char *const *buttons, int defaultButton, const std::string &details,
           const char *question) {
    Msg_Reset(TRUE);
    Msg_Append(MSGID("question.details") "%s", details.c_str());
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security" /* the question has no arguments */
    const guint answer = Msg_Question(buttons, defaultButton, question);
#pragma GCC diagnostic pop
    if (gEndOfQuestion != 0)
        throw Interrupted(std::exchange(gEndOfQuestion, 0));
    return static_cast<int>(answer);
}

} // namespace orvaneCli
