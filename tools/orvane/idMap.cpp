#include "tools/orvane/idMap.h"

#include "lib/misc/keyedHash.h"

namespace orvaneCli {

size_t IdHash::operator()(std::string_view id) const {
    return KeyedHash()(id);
}

} // namespace orvaneCli
