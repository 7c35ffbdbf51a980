#include "lib/user/msg.h"

#include <cstring>

#include "lib/config/preference.h"
#include "lib/dict/dictionaryFile.h"
#include "lib/lock/vthreadBase.h"
#include "lib/misc/hashTable.h"
#include "lib/misc/log.h"
#include "lib/misc/panic.h"
#include "lib/misc/secret.h"
#include "lib/misc/utilSafe.h"
#include "lib/user/msgInt.h"

namespace {

constexpr guint32 kLockRank = 0xFEFFFFFF;
constexpr guint kThreadBuckets = 128;
constexpr const char *kFirstLocale = "en";

constinit MXUserRecLock *msgLock = nullptr;
constinit MsgSharedState *msgSharedState = nullptr;
constinit HashTable *msgThreadTable = nullptr; /* VThreadBase_CurID() -> MsgThreadState */
constinit bool msgExited = false;

MXUserRecLock *MsgLock() {
    return MXUser_CreateSingletonRecLock(&msgLock, "msgLock", kLockRank);
}

void MsgFreeThreadState(gpointer value) {
    auto *state = static_cast<MsgThreadState *>(value);
    if (state == nullptr)
        return;
    MsgList_Free(state->messages);
    free(state->shown);
    free(state->shownAndReset);
    free(state);
}

/* Drops the state of a thread at its end: its number, which is the key, goes to the next thread. */
struct ThreadEnd {
    ~ThreadEnd() { Msg_ExitThread(); }
};

gconstpointer ThreadKey() {
    return GUINT_TO_POINTER(VThreadBase_CurID());
}

/* Puts messages behind the pending ones. */
void AddPending(MsgList *messages) {
    MsgThreadState *state = MsgGetThreadState(true);
    *state->end = messages;
    while (*state->end != nullptr)
        state->end = &(*state->end)->next;
}

/* Returns the text of the pending messages in a buffer of the thread. */
const char *KeepText(char **buffer, const MsgList *messages) {
    char *text = messages != nullptr ? Msg_LocalizeList(messages) : UtilSafeStrdup0("");
    free(*buffer);
    *buffer = text;
    return text;
}

/* Replaces the catalogue. The caller holds the lock. */
void SetCatalogue(Dictionary *catalogue, const char *locale) {
    MsgSharedState *state = MsgState();
    Dictionary_Free(state->catalogue);
    state->catalogue = catalogue;
    free(state->locale);
    state->locale = UtilSafeStrdup0(locale != nullptr ? locale : kFirstLocale);
}

} // namespace

MsgLocked::MsgLocked() {
    MXUser_AcquireRecLock(MsgLock());
}

MsgLocked::~MsgLocked() {
    MXUser_ReleaseRecLock(MsgLock());
}

MsgSharedState *MsgState() {
    if (msgSharedState == nullptr) {
        auto *state = static_cast<MsgSharedState *>(UtilSafeCalloc0(1, sizeof(MsgSharedState)));
        state->callback.post = MsgPostStderr;
        state->callback.question = MsgQuestionStdio;
        state->callback.progress = MsgProgressStdio;
        state->callback.hint = MsgHintStdio;
        state->locale = UtilSafeStrdup0(kFirstLocale);
        msgSharedState = state;
        msgExited = false;
    }
    return msgSharedState;
}

MsgThreadState *MsgGetThreadState(bool create) {
    HashTable *table = HashTable_AllocOnce(&msgThreadTable, kThreadBuckets,
                                           HASHTABLE_INT | HASHTABLE_ATOMIC, MsgFreeThreadState);
    gpointer found = nullptr;
    const gboolean isKnown = HashTable_Lookup(table, ThreadKey(), &found);
    if (found != nullptr || !create)
        return static_cast<MsgThreadState *>(found);

    static thread_local const ThreadEnd threadEnd; /* made by the first use in a thread */
    auto *state = static_cast<MsgThreadState *>(UtilSafeCalloc0(1, sizeof(MsgThreadState)));
    state->end = &state->messages;
    /* an entry without a value is what Msg_ExitThread() left */
    const gboolean isEntered = isKnown
                                   ? HashTable_ReplaceIfEqual(table, ThreadKey(), nullptr, state)
                                   : HashTable_Insert(table, ThreadKey(), state);
    VERIFY(isEntered);
    return state;
}

MsgCallback MsgCallbacks() {
    MsgCallback all = MsgState()->callback;
    const MsgThreadState *thread = MsgGetThreadState(false);
    if (thread == nullptr)
        return all;
    const MsgCallback &own = thread->callback;
#define OVERRIDE(slot)                                                                             \
    if (own.slot != nullptr)                                                                       \
    all.slot = own.slot
    OVERRIDE(post);
    OVERRIDE(question);
    OVERRIDE(progress);
    OVERRIDE(hint);
    OVERRIDE(lazyProgressStart);
    OVERRIDE(lazyProgress);
    OVERRIDE(lazyProgressEnd);
    OVERRIDE(postList);
    OVERRIDE(questionList);
    OVERRIDE(progressList);
    OVERRIDE(hintList);
    OVERRIDE(spare);
#undef OVERRIDE
    return all;
}

MsgListPtr MsgTakePending() {
    MsgThreadState *state = MsgGetThreadState(false);
    if (state == nullptr)
        return nullptr;
    MsgListPtr messages(state->messages);
    state->messages = nullptr;
    state->end = &state->messages;
    return messages;
}

void Msg_Append(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    AddPending(MsgList_VCreate(format, arguments));
    va_end(arguments);
}

void Msg_AppendStr(const char *text) {
    AddPending(MsgList_CreateStr(text));
}

void Msg_AppendMsgList(const MsgList *messages) {
    if (messages != nullptr)
        AddPending(MsgList_Copy(messages));
}

gboolean Msg_Present(void) {
    return Msg_GetMsgList() != nullptr;
}

void Msg_Reset(gboolean log) {
    const MsgListPtr messages = MsgTakePending();
    if (log)
        MsgList_Log(messages.get());
}

void Msg_LogAndReset(void) {
    Msg_Reset(TRUE);
}

const MsgList *Msg_GetMsgList(void) {
    const MsgThreadState *state = MsgGetThreadState(false);
    return state != nullptr ? state->messages : nullptr;
}

MsgList *Msg_GetMsgListAndReset(void) {
    return MsgTakePending().release();
}

const char *Msg_GetMessages(void) {
    MsgThreadState *state = MsgGetThreadState(true);
    return KeepText(&state->shown, state->messages);
}

const char *Msg_GetMessagesAndReset(void) {
    MsgThreadState *state = MsgGetThreadState(true);
    const MsgListPtr messages = MsgTakePending();
    return KeepText(&state->shownAndReset, messages.get());
}

void Msg_SetCallback(const MsgCallback *callback) {
    const MsgLocked locked;
    MsgState()->callback = *callback;
}

void Msg_GetCallback(MsgCallback *callback) {
    const MsgLocked locked;
    *callback = MsgState()->callback;
}

void Msg_SetThreadCallback(const MsgCallback *callback) {
    MsgGetThreadState(true)->callback = *callback;
}

void Msg_GetThreadCallback(MsgCallback *callback) {
    *callback = MsgGetThreadState(true)->callback;
}

void Msg_SetLocale(const char *locale, const char *baseName) {
    const MsgLocked locked;
    Log("%s: HostLocale=%s UserLocale=%s\n", "Msg_SetLocaleEx", g_get_language_names()[0],
        locale != nullptr ? locale : "NULL");
    if (locale == nullptr) {
        SetCatalogue(nullptr, nullptr);
        return;
    }
    const MsgText libDir(Preference_GetPathName("/usr/lib/halden", "libdir"));
    if (libDir == nullptr) {
        Warning("Cannot determine message file path for locale \"%s\".\n", locale);
        return;
    }
    const GPtr<char> path(g_strdup_printf("%s%s%s%s%s.%s", libDir.get(), "/messages/", locale, "/",
                                          baseName, "mcat"));
    Dictionary *catalogue = Dictionary_Create();
    if (Dictionary_LoadWithDefaultEncoding(catalogue, path.get(), STRING_ENCODING_UTF8)) {
        SetCatalogue(catalogue, locale);
        return;
    }
    Dictionary_Free(catalogue);
    Msg_Reset(TRUE);
    if (strcmp(locale, kFirstLocale) != 0)
        Warning("Cannot load message dictionary \"%s\".\n", path.get());
}

const char *Msg_GetLocale(void) {
    const MsgLocked locked;
    return MsgState()->locale;
}

gboolean Msg_LoadMessageFile(const char *locale, const char *path) {
    MXUser_AcquireRecLock(MsgLock());
    MsgSharedState *state = MsgState();
    if (path == nullptr)
        return FALSE; /* the lock stays acquired, as the header says */
    if (state->catalogue != nullptr) {
        const gboolean isAdded = Dictionary_Append(state->catalogue, path);
        if (!isAdded)
            MXUser_ReleaseRecLock(MsgLock());
        return isAdded; /* after an addition, too */
    }
    Dictionary *catalogue = Dictionary_Create();
    const gboolean isLoaded =
        Dictionary_LoadWithDefaultEncoding(catalogue, path, STRING_ENCODING_UTF8);
    if (isLoaded)
        SetCatalogue(catalogue, locale);
    else
        Dictionary_Free(catalogue);
    MXUser_ReleaseRecLock(MsgLock());
    return isLoaded;
}

void Msg_ReleaseLock(void) {
    MXUser_ReleaseRecLock(MsgLock());
}

void Msg_ExitThread(void) {
    if (!msgExited && MsgGetThreadState(false) != nullptr)
        HashTable_ReplaceOrInsert(msgThreadTable, ThreadKey(), nullptr);
}

void Msg_Exit(void) {
    msgExited = true;
    if (msgSharedState != nullptr) {
        SetCatalogue(nullptr, nullptr);
        free(msgSharedState->locale);
        free(msgSharedState);
        msgSharedState = nullptr;
    }
    if (msgThreadTable != nullptr)
        HashTable_FreeUnsafe(msgThreadTable);
    msgThreadTable = nullptr;
    if (msgLock != nullptr)
        MXUser_DestroyRecLock(msgLock);
    msgLock = nullptr;
}
