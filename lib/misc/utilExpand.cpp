#include "lib/misc/utilExpand.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <string_view>

#include "lib/misc/utilSafe.h"

namespace {

/* Returns one field of a user's record; the own user's for an empty name. Empty if there is none. */
std::string UserField(const std::string &name, char *passwd::*field) {
    std::string buffer(16384, '\0');
    passwd record;
    passwd *found = nullptr;
    if (name.empty())
        getpwuid_r(geteuid(), &record, buffer.data(), buffer.size(), &found);
    else
        getpwnam_r(name.c_str(), &record, buffer.data(), buffer.size(), &found);
    return found != nullptr && found->*field != nullptr ? found->*field : "";
}

std::string HomeFolder(const std::string &user) {
    if (user.empty())
        if (const char *home = secure_getenv("HOME"); home != nullptr && *home == '/')
            return home;
    return UserField(user, &passwd::pw_dir);
}

std::string Variable(const std::string &name) {
    if (name == "PID")
        return std::to_string(getpid());
    if (name == "USER")
        return UserField("", &passwd::pw_name);
    const char *value = secure_getenv(name.c_str());
    return value != nullptr ? value : "";
}

bool IsNameByte(char c) {
    return g_ascii_isalnum(c) || c == '_';
}

} // namespace

char *Util_ExpandString(const char *text) {
    std::string_view rest(text);
    std::string expanded;
    if (rest.starts_with('~')) {
        const gsize end = MIN(rest.find('/'), rest.size());
        expanded = HomeFolder(std::string(rest.substr(1, end - 1)));
        if (expanded.empty())
            return nullptr;
        rest.remove_prefix(end);
    }
    while (!rest.empty()) {
        const gsize plain = MIN(rest.find('$'), rest.size());
        expanded += rest.substr(0, plain);
        rest.remove_prefix(plain);
        if (rest.empty())
            break;
        gsize size = 1;
        while (size < rest.size() && IsNameByte(rest[size]))
            size++;
        expanded += size > 1 ? Variable(std::string(rest.substr(1, size - 1))) : "$";
        rest.remove_prefix(size);
    }
    return UtilSafeStrdup0(expanded.c_str());
}
