/*
 * msgList.h -- a list of localisable messages: what a person must know, collected on the way up
 *
 *   MsgList_Append(&list, MSG_MAGIC "(msg.fileLock.posix)A file locking error (%d) has occurred: %s.", ...);
 *
 *   newest message -> ... -> first message       each: identifier, format, typed arguments
 *
 * A text without the head of a message is appended as the argument of "@&!*@*@(msg.literal)%s".
 *
 * Ownership: a list owns its messages; the functions that append take a list by its address and may be
 *            given NULL in place of it, when the messages are not needed.
 * Errors:    a format that its arguments do not fit is a fault of the program and ends it. So does lack
 *            of memory.
 * Threads:   any; a list belongs to one thread at a time.
 */
#pragma once

#include <stdarg.h>

#include <memory>

#include "lib/misc/glibPtr.h"
#include "lib/user/msgFmt.h"

G_BEGIN_DECLS

typedef struct MsgList MsgList;

struct MsgList {
    MsgList *next;
    char *id;
    char *format;
    MsgFmt_Arg *args; /* NULL: the text is not a format */
    gint numArgs;
};

/* Each returns a list of one message, to be released with MsgList_Free(). */
MsgList *MsgList_Create(const char *format, ...) G_GNUC_PRINTF(1, 2);
MsgList *MsgList_VCreate(const char *format, va_list arguments) G_GNUC_PRINTF(1, 0);
MsgList *MsgList_CreateStr(const char *text);

/* Puts a message at the head of the list. */
void MsgList_Append(MsgList **list, const char *format, ...) G_GNUC_PRINTF(2, 3);
void MsgList_VAppend(MsgList **list, const char *format, va_list arguments) G_GNUC_PRINTF(2, 0);

/* Puts a text at the head of the list. It is not a format, also if it has the head of a message. */
void MsgList_AppendStr(MsgList **list, const char *text);

/* Puts the messages of another list, which it takes over, before those of this one. */
void MsgList_AppendMsgList(MsgList **list, MsgList *messages);

/* Returns a copy, or NULL for an empty list. */
MsgList *MsgList_Copy(const MsgList *list);

/* NULL is allowed. */
void MsgList_Free(MsgList *list);

/* Logs each message in English: "[msg.file.noMem] Not enough memory". */
void MsgList_Log(const MsgList *list);

/* Returns the messages in English, a line each, to be released with free(); NULL for an empty list. */
char *MsgList_ToString(const MsgList *list);

gboolean MsgList_Present(const MsgList *list);

/* Returns the identifier of the message that was appended first; NULL for an empty list. */
const char *MsgList_GetMsgID(const MsgList *list);

G_END_DECLS

using MsgListPtr = std::unique_ptr<MsgList, Release<MsgList_Free>>;
