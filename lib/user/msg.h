/*
 * msg.h -- how the foundation talks to a person, without knowing what a person looks like here
 *
 *   Msg_Append("@&!*@*@(msg.file.open)Cannot open \"%s\".\n", path);          collected, per thread
 *   Msg_Post(MSG_ERROR, "@&!*@*@(msg.power.on)Power on failed.\n");         shown, with all that was collected
 *
 * A message text has an identifier and a default, which is a format (see msgId.h). A catalogue for the user's
 * language replaces the default when the text is shown; a setting "answer.<identifier>" answers a question in
 * advance. What is shown goes through callbacks that a program may replace; the first ones use the terminal.
 *
 * Ownership: said with each function. Texts are released with free().
 * Errors:    a message whose arguments do not fit its format ends the process.
 * Threads:   any. Pending messages belong to the thread. Callbacks are called without a lock.
 */
#pragma once

#include <stdarg.h>

#include "lib/user/msgList.h"

G_BEGIN_DECLS

/* Severities. */
enum {
    MSG_INFO = 1,
    MSG_WARNING = 2,
    MSG_ERROR = 3,
    MSG_CONFIG_EDITOR = 4,
    MSG_HOME_PAGE_INFO = 8,
};

/* Kinds of hint: which buttons it has; and its results. */
enum { MSG_HINT_OK = 0, MSG_HINT_OKCANCEL = 1, MSG_HINT_NONE = 2 };
enum { MSG_HINT_RESULT_OK = 0, MSG_HINT_RESULT_CANCEL = 1, MSG_HINT_RESULT_NOT_SHOWN = 2 };

/* How messages reach a person; slots may be NULL. Texts are localised and valid during the call. */
typedef struct {
    void (*post)(gint severity, const char *id, const char *text);
    /* @buttons: (array zero-terminated). Returns the index of the chosen one. */
    guint (*question)(char *const *buttons, gint defaultAnswer, const char *id, const char *text);
    /* @percent: -1 to start, with a title; above 100 to end. TRUE if the user cancelled. */
    gboolean (*progress)(const char *id, const char *text, gint percent, gboolean cancelButton);
    gint (*hint)(gint hintType, const char *id, const char *text);
    gpointer (*lazyProgressStart)(const char *id, const char *text, gboolean cancelButton);
    gboolean (*lazyProgress)(gpointer handle, const char *id, const char *text,
                             gboolean cancelButton, gint percent);
    void (*lazyProgressEnd)(gpointer handle);
    void (*postList)(gint severity, const MsgList *messages);
    guint (*questionList)(const char *const *buttons, gint defaultAnswer, const MsgList *messages);
    gboolean (*progressList)(const MsgList *messages, gint percent, gboolean cancelButton);
    gint (*hintList)(gint hintType, const MsgList *messages);
    gpointer spare;
    void (*forceUnblock)(void);
} MsgCallback;

/* Buttons (array zero-terminated), as messages; "_" marks the letter of a short cut. */
extern const char *const Msg_OKButtons[];
extern const char *const Msg_OKCancelButtons[];
extern const char *const Msg_YesNoButtons[];
extern const char *const Msg_RetryCancelButtons[];
extern const char *const Msg_RetryAbortButtons[];

/* Texts of the severities, as messages; NULL for a number without one. */
extern const char *const Msg_Severities[9];

/* -- collecting ---------------------------------------------------------------------------------- */

void Msg_Append(const char *format, ...) G_GNUC_PRINTF(1, 2);
void Msg_AppendStr(const char *text);
/* Adds copies of the messages behind the pending ones. NULL is allowed. */
void Msg_AppendMsgList(const MsgList *messages);

gboolean Msg_Present(void);

/* Discards the pending messages, after logging them if @log is set. */
void Msg_Reset(gboolean log);
void Msg_LogAndReset(void);

/* The pending messages; those of the second are the caller's. */
const MsgList *Msg_GetMsgList(void);
MsgList *Msg_GetMsgListAndReset(void);

/* The pending messages as localised text, in a buffer that the thread's next call of the same function replaces. */
const char *Msg_GetMessages(void);
const char *Msg_GetMessagesAndReset(void);

/* -- showing ------------------------------------------------------------------------------------- */

void Msg_Post(gint severity, const char *format, ...) G_GNUC_PRINTF(2, 3);
/* Posts copies of the messages. With NULL nothing happens. */
void Msg_PostMsgList(gint severity, const MsgList *messages);

/**
 * Msg_Question:
 * @buttons: (array zero-terminated=1): the answers, as messages; at most 9
 * @defaultAnswer: index of one
 *
 * Returns: the index of the answer
 */
guint Msg_Question(const char *const *buttons, gint defaultAnswer, const char *format, ...)
    G_GNUC_PRINTF(3, 4);

gint Msg_Hint(gboolean defaultShow, gint hintType, const char *format, ...) G_GNUC_PRINTF(3, 4);
gint Msg_HintMsgList(gboolean defaultShow, gint hintType, const MsgList *messages);

/* TRUE if the user cancelled. @format may be NULL. */
gboolean Msg_Progress(gint percent, gboolean cancelButton, const char *format, ...)
    G_GNUC_PRINTF(3, 4);
/* Shows the part of one of several operations in the progress of all. */
gboolean Msg_ProgressScaled(gint percent, gint operationsDone, gint operationsTotal,
                            gboolean cancelButton);
gpointer Msg_LazyProgressStart(gboolean cancelButton, const char *format, ...) G_GNUC_PRINTF(2, 3);
gboolean Msg_LazyProgress(gpointer handle, gboolean cancelButton, gint percent, const char *format,
                          ...) G_GNUC_PRINTF(4, 5);
void Msg_LazyProgressEnd(gpointer handle);

/* Asks whoever waits for an answer of a person to wait no longer. */
void Msg_ForceUnblock(void);

/* -- setting up ---------------------------------------------------------------------------------- */

void Msg_SetCallback(const MsgCallback *callback);
void Msg_GetCallback(MsgCallback *callback);
/* Slots that are not NULL take the place of the shared ones for this thread, but for forceUnblock. */
void Msg_SetThreadCallback(const MsgCallback *callback);
void Msg_GetThreadCallback(MsgCallback *callback);

/* Loads <libdir>/messages/<locale>/<baseName>.mcat as the catalogue; with a NULL locale there is none. */
void Msg_SetLocale(const char *locale, const char *baseName);
/* Returns the locale, "en" at first, as a constant until the next Msg_SetLocale(). */
const char *Msg_GetLocale(void);
/* Adds a file to the catalogue. The lock of messages stays acquired after FALSE for a NULL path and after TRUE
 * for a file that was added to a catalogue; callers release it by Msg_ReleaseLock(). */
gboolean Msg_LoadMessageFile(const char *locale, const char *path);
void Msg_ReleaseLock(void);

/* Frees what a thread has pending; or everything. */
void Msg_ExitThread(void);
void Msg_Exit(void);

/* -- text ---------------------------------------------------------------------------------------- */

/* The localised text of a message; not formatted. */
char *Msg_GetString(const char *id);
/* The same for a message; a copy of any other text. */
char *Msg_GetStringSafe(const char *text);
/* The same without the marks of short cuts. */
char *Msg_GetPlainButtonText(const char *id);
char *Msg_Format(const char *id, ...) G_GNUC_PRINTF(1, 2);
char *Msg_VFormat(const char *id, va_list arguments) G_GNUC_PRINTF(1, 0);
char *Msg_LocalizeList(const MsgList *messages);
/* Whether a text is the answer of that button, in any case, without marks. */
gboolean Msg_CompareAnswer(const char *const *buttons, guint index, const char *text);
/* A number with the locale's grouping. */
char *Msg_FormatFloat(guint precision, double value);
/* "1.5 GB". */
char *Msg_FormatSizeInBytes(guint64 size);

G_END_DECLS
