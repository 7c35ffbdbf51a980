#include "tests/support/paths.h"

std::string SourcePath(const std::string &relative) {
    return ORVANE_SOURCE_DIR "/" + relative;
}

std::string BuildPath(const std::string &relative) {
    return ORVANE_BUILD_DIR "/" + relative;
}
