#include "lib/user/msgList.h"

#include <cstdlib>
#include <cstring>
#include <string>

#include "lib/misc/log.h"
#include "lib/misc/panic.h"
#include "lib/misc/utilSafe.h"
#include "lib/user/msgId.h"

namespace {

constexpr const char *kLiteral = MSG_MAGIC "(msg.literal)%s";

/* Makes a record without arguments. */
MsgList *MakeRecord(const MsgId &message) {
    auto *record = static_cast<MsgList *>(UtilSafeCalloc0(1, sizeof(MsgList)));
    record->id = UtilSafeStrndup0(message.id.data(), message.id.size());
    record->format = UtilSafeStrdup0(message.text);
    return record;
}

/* Makes a record with the arguments of its format. */
MsgList *MakeFormatted(const MsgId &message, va_list arguments) {
    MsgList *record = MakeRecord(message);
    char *error = nullptr;
    if (!MsgFmt_GetArgs(record->format, arguments, &record->args, &record->numArgs, &error)) {
        Log("%s error: %s\nformat <%s>\n", "MsgList_VAppend", error, record->format);
        PANIC();
    }
    if (record->args == nullptr) /* none, but a format all the same: "100%%" */
        record->args = static_cast<MsgFmt_Arg *>(UtilSafeCalloc0(1, sizeof(MsgFmt_Arg)));
    return record;
}

MsgList *MakeFormattedFrom(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    MsgList *record = MakeFormatted(MsgId_Split(format), arguments);
    va_end(arguments);
    return record;
}

/* Returns the text of one record in English. */
std::string RecordText(const MsgList *record) {
    if (record->args == nullptr)
        return record->format;
    char *formatted = MsgFmt_Asprintf(nullptr, record->format, record->args, record->numArgs);
    VERIFY(formatted != nullptr);
    std::string text(formatted);
    free(formatted);
    return text;
}

const char *NewlineFor(const std::string &text) {
    return text.ends_with('\n') ? "" : "\n";
}

} // namespace

MsgList *MsgList_VCreate(const char *format, va_list arguments) {
    const MsgId message = MsgId_Split(format);
    return message.IsMessage() ? MakeFormatted(message, arguments)
                               : MakeFormattedFrom(kLiteral, format);
}

MsgList *MsgList_Create(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    MsgList *list = MsgList_VCreate(format, arguments);
    va_end(arguments);
    return list;
}

MsgList *MsgList_CreateStr(const char *text) {
    const MsgId message = MsgId_Split(text);
    return message.IsMessage() ? MakeRecord(message) : MakeFormattedFrom(kLiteral, text);
}

void MsgList_VAppend(MsgList **list, const char *format, va_list arguments) {
    if (list != nullptr)
        MsgList_AppendMsgList(list, MsgList_VCreate(format, arguments));
}

void MsgList_Append(MsgList **list, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    MsgList_VAppend(list, format, arguments);
    va_end(arguments);
}

void MsgList_AppendStr(MsgList **list, const char *text) {
    if (list != nullptr)
        MsgList_AppendMsgList(list, MsgList_CreateStr(text));
}

void MsgList_AppendMsgList(MsgList **list, MsgList *messages) {
    if (list == nullptr) {
        MsgList_Free(messages);
        return;
    }
    if (messages == nullptr)
        return;
    MsgList *last = messages;
    while (last->next != nullptr)
        last = last->next;
    last->next = *list;
    *list = messages;
}

MsgList *MsgList_Copy(const MsgList *list) {
    MsgList *copies = nullptr;
    MsgList **end = &copies;
    for (; list != nullptr; list = list->next) {
        auto *copy = static_cast<MsgList *>(UtilSafeCalloc0(1, sizeof(MsgList)));
        copy->id = UtilSafeStrdup0(list->id);
        copy->format = UtilSafeStrdup0(list->format);
        copy->numArgs = list->numArgs;
        if (list->args != nullptr) {
            /* one more than needed, so that a format without arguments has an array, too */
            copy->args = MsgFmt_CopyArgs(list->args, list->numArgs > 0 ? list->numArgs : 1);
            VERIFY(copy->args != nullptr);
        }
        *end = copy;
        end = &copy->next;
    }
    return copies;
}

void MsgList_Free(MsgList *list) {
    while (list != nullptr) {
        MsgList *next = list->next;
        free(list->id);
        free(list->format);
        MsgFmt_FreeArgs(list->args, list->numArgs);
        free(list);
        list = next;
    }
}

void MsgList_Log(const MsgList *list) {
    for (; list != nullptr; list = list->next) {
        const std::string text = RecordText(list);
        Log("[%s] %s%s", list->id, text.c_str(), NewlineFor(text));
    }
}

char *MsgList_ToString(const MsgList *list) {
    if (list == nullptr)
        return nullptr;
    std::string all;
    for (; list != nullptr; list = list->next) {
        const std::string text = RecordText(list);
        all += text;
        all += NewlineFor(text);
    }
    return UtilSafeStrdup0(all.c_str());
}

gboolean MsgList_Present(const MsgList *list) {
    return list != nullptr;
}

const char *MsgList_GetMsgID(const MsgList *list) {
    if (list == nullptr)
        return nullptr;
    while (list->next != nullptr)
        list = list->next;
    return list->id;
}
