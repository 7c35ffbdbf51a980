/*
 * msgInt.h -- the state of messages, shared by its sources
 *
 *   msg.cpp        state, pending messages, set-up
 *   msgText.cpp    catalogue, localised texts
 *   msgShow.cpp    posts, questions, hints, progress
 *   msgStdio.cpp   the callbacks for a terminal
 *
 * Modules without this state are msgList.cpp and the formats: msgFmtParse.cpp, msgFmtArgs.cpp, msgFmtPrint.cpp.
 */
#pragma once

#include <cstdlib>
#include <memory>

#include "lib/dict/dictionary.h"
#include "lib/lock/mxUser.h"
#include "lib/misc/glibPtr.h"
#include "lib/user/msg.h"

constexpr gsize kMsgMaxId = 128; /* with the NUL */

using MsgText = MallocPtr<char>;

/* Guarded by msgLock. */
struct MsgSharedState {
    MsgCallback callback;
    char *locale;
    Dictionary *catalogue; /* NULL for none */
    const char *severities[9];
    bool hasSeverities; /* cached by the first post */
};

/* Of one thread, used by it alone. */
struct MsgThreadState {
    MsgCallback callback;
    MsgList *messages;
    MsgList **end; /* where the next message goes */
    char *shown;
    char *shownAndReset;
};

class MsgLocked {
public:
    MsgLocked();
    ~MsgLocked();
    MsgLocked(const MsgLocked &) = delete;
    MsgLocked &operator=(const MsgLocked &) = delete;
};

/* Returns the state, made by the first call. The caller holds msgLock. */
MsgSharedState *MsgState();
/* Returns the state of this thread; NULL without one unless it is to be made. */
MsgThreadState *MsgGetThreadState(bool create);
/* Returns the callbacks in force for this thread. The caller holds msgLock. */
MsgCallback MsgCallbacks();
/* Takes the pending messages. */
MsgListPtr MsgTakePending();

/* Returns the catalogue's text for a message, or its default; @text is a message. */
MsgText MsgGetText(const char *text);
/* Removes each "_"; of "__" one stays. */
MsgText MsgStripMnemonic(const char *text);

/* The callbacks for a terminal. */
void MsgPostStderr(gint severity, const char *id, const char *text);
guint MsgQuestionStdio(char *const *buttons, gint defaultAnswer, const char *id, const char *text);
gboolean MsgProgressStdio(const char *id, const char *text, gint percent, gboolean cancelButton);
gint MsgHintStdio(gint hintType, const char *id, const char *text);
