// What a person is shown at a panic. Declared in panicControl.h, since Panic() is below this room.
#include <cstdarg>
#include <cstdio>

#include "lib/lock/vthreadBase.h"
#include "lib/misc/logOutput.h"
#include "lib/misc/panicControl.h"
#include "lib/misc/productState.h"
#include "lib/user/msg.h"

namespace {

constexpr gsize kMaxText = 1024;

} // namespace

void Panic_PostPanicMsg(const char *format, ...) {
    if (!Panic_GetPanicMsgPost())
        return;
    char text[kMaxText];
    va_list arguments;
    va_start(arguments, format);
    if (vsnprintf(text, sizeof text, format, arguments) < 0)
        text[0] = '\0';
    va_end(arguments);

    Msg_Append("@&!*@*@(msg.log.error.unrecoverable)%s%s unrecoverable error: (%s)\n%s",
               Msg_Present() ? "\n" : "", ProductState_GetName(), VThreadBase_CurName(), text);
    if (const char *fileName = Log_GetFileName())
        Msg_Append("@&!*@*@(msg.panic.haveLog)A log file is available in \"%s\".  ", fileName);
    Msg_Append("@&!*@*@(msg.panic.requestSupport.withoutLog)You can request support.  ");
    if (ProductState_IsProduct(PRODUCT_BENCHTOP))
        Msg_Append("@&!*@*@(msg.panic.requestSupport.hxReport.windowsOrLinux)\n"
                   "To collect data to submit to Halden support, choose \"Collect Support Data\" "
                   "from the Help menu.\n"
                   "You can also run the \"hx-report\" script in the Benchtop folder directly.\n");
    else
        Msg_Append("@&!*@*@(msg.panic.requestSupport.hxReport.tormac86)\n"
                   "To collect data to submit to Halden technical support, run \"hx-report\".\n");
    Msg_ForceUnblock();
    Msg_Post(MSG_ERROR, "@&!*@*@(msg.panic.response)We will respond on the basis of your support "
                        "entitlement.\n");
}
