/*
 * msgFmtInt.h -- what the sources of msgFmt.h share
 */
#pragma once

#include "lib/user/msgFmt.h"

/* A specifier, taken apart by MsgFmt_ParseSpec(). */
struct MsgFmtSpec {
    gint position;
    gint flags;
    gint width;
    gint precision;
    char lengthModifier;
    char conversion;
};

/* In place of a type: a long double, which is not supported. */
constexpr gint kMsgFmtLongDouble = -1;

/* Returns the type of argument that a conversion takes, MSGFMT_ARG_INVALID for one that is not supported. */
gint MsgFmtArgType(char conversion, char lengthModifier);
