#include "tools/orvane/ferryTables.h"

#include <memory>

#include <orvane/schemaOverlay.h>

#include "lib/misc/log.h"
#include "tools/orvane/owners.h"

namespace orvaneCli {

namespace {

constexpr char kTables[] = "namespace ferry\n"
                           "data FerryServerContent ...\n"
                           "  conversionManager FerryServerConversionConversionManager? @all\n"
                           "data FerryServerJobJobInfo ...\n"
                           "  key string? @all\n"
                           "  state FerryServerJobJobInfoState? @all\n"
                           "  createdTime dateTime? @all\n"
                           "  lastRunStartedTime dateTime? @all\n"
                           "  lastRunCompletedTime dateTime? @all\n"
                           "  lastTask FerryTaskInfo? @all\n"
                           "data FerryTaskInfo ...\n"
                           "  state FerryTaskInfoState? @all\n"
                           "  progress int? @all\n"
                           "  error MethodFault? @all\n"
                           "data FerryUserSession ...\n"
                           "  key string? @all\n"
                           "  userName string? @all\n"
                           "  fullName string? @all\n"
                           "  loginTime dateTime? @all\n"
                           "  lastActiveTime dateTime? @all\n";

} // namespace

void AddFerryTables() {
    GError *error = nullptr;
    if (orvane_schema_add_overlay("the program's tables", kTables, &error))
        return;
    Log("PROGRAM: the tables of jobs are not used: %s\n", TakeMessage(error).c_str());
}

} // namespace orvaneCli
