#include "tools/orvane/command.h"

#include "lib/misc/err.h"
#include "tools/orvane/failure.h"
#include "tools/orvane/message.h"
#include "tools/orvane/terminal.h"

namespace orvaneCli {

int RunCommand(const std::function<int()> &command) {
    try {
        return command();
    } catch (const Failure &failure) {
        Report(failure.what());
        return failure.status;
    }
}

int CheckOutput(int status) {
    const int error = OutputError();
    if (error == 0 || status != kDone)
        return status;
    Report(
        Text(MSGID("output.failed") "the output cannot be written: %s", Err_Errno2String(error)));
    return kFailed;
}

} // namespace orvaneCli
