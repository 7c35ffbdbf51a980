// Messages on their way to a person: posts, questions, hints, progress.
#include <cstring>
#include <vector>

#include "lib/config/config.h"
#include "lib/misc/log.h"
#include "lib/misc/panic.h"
#include "lib/misc/utilSafe.h"
#include "lib/user/msgId.h"
#include "lib/user/msgInt.h"

const char *const Msg_OKButtons[] = {MSG_MAGIC "(button.ok)OK", nullptr};
const char *const Msg_OKCancelButtons[] = {MSG_MAGIC "(button.ok)OK",
                                           MSG_MAGIC "(button.cancel)Cancel", nullptr};
const char *const Msg_YesNoButtons[] = {MSG_MAGIC "(button.yes)_Yes", MSG_MAGIC "(button.no)_No",
                                        nullptr};
const char *const Msg_RetryCancelButtons[] = {MSG_MAGIC "(button.retry)_Retry",
                                              MSG_MAGIC "(button.cancel)Cancel", nullptr};
const char *const Msg_RetryAbortButtons[] = {MSG_MAGIC "(button.retry)_Retry",
                                             MSG_MAGIC "(button.abort)Cancel", nullptr};

const char *const Msg_Severities[9] = {
    MSG_MAGIC "(msg.msg.info)Information",
    MSG_MAGIC "(msg.msg.info)Information",
    MSG_MAGIC "(msg.msg.warning)Warning",
    MSG_MAGIC "(msg.msg.error)Error",
    MSG_MAGIC "(msg.msg.configEditor)Configuration editor",
    nullptr,
    nullptr,
    nullptr,
    MSG_MAGIC "(msg.msg.homePageInfo)Home page information",
};

namespace {

constexpr guint kMaxButtons = 9;

enum class Answered { No = 0, Builtin = 1, Configured = 2 };

guint CountButtons(const char *const *buttons) {
    guint count = 0;
    while (count < kMaxButtons && buttons[count] != nullptr)
        count++;
    return count;
}

/* Whether a setting answers a question, and how. */
Answered MsgIsAnswered(const char *const *buttons, gint defaultAnswer, const char *id,
                       gint *answer) {
    const guint count = CountButtons(buttons);
    if (const MsgText configured{Config_GetString(nullptr, "answer.%s", id)}) {
        for (guint i = 0; i < count; i++) {
            if (!Msg_CompareAnswer(buttons, i, configured.get()))
                continue;
            Log("%s: Using config default '%s' as the answer for '%s'\n", "MsgIsAnswered",
                configured.get(), id);
            *answer = static_cast<gint>(i);
            return Answered::Configured;
        }
    }
    if (!Config_GetBool(FALSE, "msg.autoAnswer"))
        return Answered::No;
    const MsgText button(defaultAnswer >= 0 && static_cast<guint>(defaultAnswer) < count
                             ? Msg_GetPlainButtonText(buttons[defaultAnswer])
                             : UtilSafeStrdup0(""));
    Log("%s: Using builtin default '%s' as the answer for '%s'\n", "MsgIsAnswered", button.get(),
        id);
    *answer = defaultAnswer;
    return Answered::Builtin;
}

/* Returns the text of a severity in English, cached by the first post. The caller holds msgLock. */
const char *SeverityText(gint severity) {
    MsgSharedState *state = MsgState();
    if (!state->hasSeverities) {
        for (gsize i = 0; i < G_N_ELEMENTS(Msg_Severities); i++)
            state->severities[i] =
                Msg_Severities[i] != nullptr ? MsgId_Split(Msg_Severities[i]).text : "";
        state->hasSeverities = true;
    }
    const bool isKnown =
        severity >= 0 && severity < static_cast<gint>(G_N_ELEMENTS(Msg_Severities));
    return isKnown ? state->severities[severity] : "";
}

/* Posts all that is pending; @id is that of the message that asked for it. */
void MsgPost(gint severity, const char *id) {
    MsgCallback callback;
    const char *severityText;
    MsgListPtr messages;
    {
        const MsgLocked locked;
        callback = MsgCallbacks();
        severityText = SeverityText(severity);
        if (id == nullptr)
            return;
        messages = MsgTakePending();
        Log("%s:%s%s\n", "Msg_Post", " ", severityText);
        MsgList_Log(messages.get());
        Log("----------------------------------------\n");
    }
    gint answer;
    if (MsgIsAnswered(Msg_OKButtons, 0, id, &answer) != Answered::No)
        return;
    const MsgText text(Msg_LocalizeList(messages.get()));
    if (severity != MSG_ERROR && Config_GetBool(FALSE, "msg.noOK")) {
        if (!Config_GetBool(FALSE, "msg.noOKnoWarning"))
            Warning("MSG: %s\n", text.get());
        return;
    }
    if (callback.postList != nullptr)
        callback.postList(severity, messages.get());
    if (callback.post != nullptr)
        callback.post(severity, id, text.get());
}

/* Buttons in the user's language, for as long as it lives. */
class Buttons {
public:
    explicit Buttons(const char *const *buttons) {
        const guint count = CountButtons(buttons);
        for (guint i = 0; i < count; i++)
            owned.emplace_back(Msg_GetString(buttons[i]));
        for (const MsgText &button : owned)
            names.push_back(button.get());
        names.push_back(nullptr);
    }
    char *const *Names() const { return names.data(); }

private:
    std::vector<MsgText> owned;
    std::vector<char *> names;
};

/* Asks by one of the callbacks, once more after an answer that is no button. */
template <class Ask> guint AskTwice(guint count, Ask ask) {
    guint reply = ask();
    if (reply >= count) {
        Log("%s: Invalid reply: %u (max = %u). Reposting question.\n", "MsgQuestion", reply, count);
        reply = ask();
    }
    return reply;
}

guint MsgQuestion(const char *const *buttons, gint defaultAnswer, const char *id) {
    MsgCallback callback;
    {
        const MsgLocked locked;
        callback = MsgCallbacks();
    }
    const MsgListPtr messages = MsgTakePending();
    Log("%s:\n", "Msg_Question");
    MsgList_Log(messages.get());

    gint answer;
    if (MsgIsAnswered(buttons, defaultAnswer, id, &answer) != Answered::No)
        return static_cast<guint>(answer);

    const guint count = CountButtons(buttons);
    guint reply = count;
    if (callback.question != nullptr) {
        const Buttons names(buttons);
        const MsgText text(Msg_LocalizeList(messages.get()));
        reply = AskTwice(
            count, [&] { return callback.question(names.Names(), defaultAnswer, id, text.get()); });
    }
    if (callback.questionList != nullptr)
        reply = AskTwice(
            count, [&] { return callback.questionList(buttons, defaultAnswer, messages.get()); });
    if (reply >= count) {
        Log("%s: Invalid reply: %u (max = %u).  Using default value.\n", "MsgQuestion", reply,
            count);
        reply = static_cast<guint>(defaultAnswer);
    }
    Log("%s: %s reply=%d\n", "MsgQuestion", id, static_cast<gint>(reply));
    return reply;
}

gint MsgHint(gint hintType, const MsgList *messages) {
    const char *id = MsgList_GetMsgID(messages);
    const MsgText text(Msg_LocalizeList(messages));
    Log("%s: %s\n%s---------------------------------------\n", "MsgHint", id, text.get());

    gint answer;
    switch (MsgIsAnswered(hintType == MSG_HINT_OKCANCEL ? Msg_OKCancelButtons : Msg_OKButtons, 0,
                          id, &answer)) {
    case Answered::Builtin:
        return MSG_HINT_RESULT_NOT_SHOWN;
    case Answered::Configured:
        return answer == 0 ? MSG_HINT_RESULT_OK : MSG_HINT_RESULT_CANCEL;
    case Answered::No:
        break;
    }
    if (Config_GetBool(FALSE, "msg.noOK")) {
        Log("%s: Not showing hint %s (%s).\n", "MsgHint", id, text.get());
        return MSG_HINT_RESULT_NOT_SHOWN;
    }
    MsgCallback callback;
    {
        const MsgLocked locked;
        callback = MsgCallbacks();
    }
    gint result = MSG_HINT_RESULT_NOT_SHOWN;
    if (callback.hint != nullptr)
        result = callback.hint(hintType, id, text.get());
    if (callback.hintList != nullptr)
        result = callback.hintList(hintType, messages);
    return result;
}

/* A message of a progress: NULL without a format. */
MsgListPtr ProgressMessage(const char *format, va_list arguments) {
    return MsgListPtr(format != nullptr ? MsgList_VCreate(format, arguments) : nullptr);
}

struct ProgressText {
    const char *id;
    MsgText text;

    explicit ProgressText(const MsgList *message)
        : id(MsgList_GetMsgID(message)),
          text(message != nullptr ? Msg_LocalizeList(message) : UtilSafeStrdup0("")) {}
};

MsgCallback LockedCallbacks() {
    const MsgLocked locked;
    return MsgCallbacks();
}

gboolean ShowProgress(gint percent, gboolean cancelButton, const MsgList *message) {
    const MsgCallback callback = LockedCallbacks();
    const ProgressText shown(message);
    gboolean isCancelled = FALSE;
    if (callback.progress != nullptr)
        isCancelled = callback.progress(shown.id, shown.text.get(), percent, cancelButton);
    if (callback.progressList != nullptr)
        isCancelled = callback.progressList(message, percent, cancelButton);
    return isCancelled;
}

} // namespace

void Msg_Post(gint severity, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const MsgListPtr message(MsgList_VCreate(format, arguments));
    va_end(arguments);
    Msg_PostMsgList(severity, message.get());
}

void Msg_PostMsgList(gint severity, const MsgList *messages) {
    Msg_AppendMsgList(messages);
    MsgPost(severity, MsgList_GetMsgID(messages));
}

guint Msg_Question(const char *const *buttons, gint defaultAnswer, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const MsgListPtr message(MsgList_VCreate(format, arguments));
    va_end(arguments);
    Msg_AppendMsgList(message.get());
    return MsgQuestion(buttons, defaultAnswer, message->id);
}

gint Msg_Hint(gboolean defaultShow, gint hintType, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const MsgListPtr message(MsgList_VCreate(format, arguments));
    va_end(arguments);
    return Msg_HintMsgList(defaultShow, hintType, message.get());
}

gint Msg_HintMsgList(gboolean /* defaultShow */, gint hintType, const MsgList *messages) {
    return messages != nullptr ? MsgHint(hintType, messages) : MSG_HINT_RESULT_NOT_SHOWN;
}

gboolean Msg_Progress(gint percent, gboolean cancelButton, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const MsgListPtr message = ProgressMessage(format, arguments);
    va_end(arguments);
    return ShowProgress(percent, cancelButton, message.get());
}

gboolean Msg_ProgressScaled(gint percent, gint operationsDone, gint operationsTotal,
                            gboolean cancelButton) {
    if (operationsTotal != 0) {
        if (percent == 101 || percent == -1)
            return FALSE;
        const gint64 start = gint64{operationsDone} * 100 / operationsTotal;
        const gint64 end = (gint64{operationsDone} + 1) * 100 / operationsTotal;
        percent = static_cast<gint>(start + percent * (end - start) / 100);
    }
    return ShowProgress(percent, cancelButton, nullptr);
}

gpointer Msg_LazyProgressStart(gboolean cancelButton, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const MsgListPtr message = ProgressMessage(format, arguments);
    va_end(arguments);
    const MsgCallback callback = LockedCallbacks();
    if (callback.lazyProgressStart == nullptr)
        return nullptr;
    const ProgressText shown(message.get());
    return callback.lazyProgressStart(shown.id, shown.text.get(), cancelButton);
}

gboolean Msg_LazyProgress(gpointer handle, gboolean cancelButton, gint percent, const char *format,
                          ...) {
    va_list arguments;
    va_start(arguments, format);
    const MsgListPtr message = ProgressMessage(format, arguments);
    va_end(arguments);
    const MsgCallback callback = LockedCallbacks();
    if (callback.lazyProgress == nullptr)
        return FALSE;
    const ProgressText shown(message.get());
    return callback.lazyProgress(handle, shown.id, shown.text.get(), cancelButton, percent);
}

void Msg_LazyProgressEnd(gpointer handle) {
    const MsgCallback callback = LockedCallbacks();
    if (callback.lazyProgressEnd != nullptr)
        callback.lazyProgressEnd(handle);
}

void Msg_ForceUnblock(void) {
    const MsgCallback callback = LockedCallbacks();
    if (callback.forceUnblock != nullptr)
        callback.forceUnblock();
}
