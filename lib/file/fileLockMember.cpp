// Member files, and who a locker is: its machine, and its process.
#include <fcntl.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstring>
#include <string_view>
#include <vector>

#include "lib/file/fileCalls.h"
#include "lib/file/fileLockInt.h"
#include "lib/lock/mxUser.h"
#include "lib/misc/base64.h"
#include "lib/misc/err.h"
#include "lib/misc/glibPtr.h"
#include "lib/misc/log.h"

namespace {

constexpr gsize kMaxFields = 16;
constexpr gsize kMaxCommand = 64;
constexpr gsize kHardwareOffset = 4; /* of the hardware address in a machine identifier */
constexpr std::string_view kUuid = "uuid=";
constexpr guint32 kRandomLockRank = 0xFF000000;

constinit MXUserExclLock *fileSimpleRandomLock = nullptr;

class Descriptor {
public:
    explicit Descriptor(int number_) : number(number_) {}
    ~Descriptor() {
        if (number >= 0)
            gFileCalls->close(number);
    }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    const int number;
};

/* Reads up to a size, beyond short transfers. -1 with errno. */
ssize_t ReadAll(int fd, char *buffer, gsize size) {
    gsize done = 0;
    while (done < size) {
        const ssize_t part = gFileCalls->read(fd, buffer + done, size - done);
        if (part < 0 && errno == EINTR)
            continue;
        if (part < 0)
            return -1;
        if (part == 0)
            break;
        done += static_cast<gsize>(part);
    }
    return static_cast<ssize_t>(done);
}

std::vector<std::string> SplitFields(std::string_view line) {
    std::vector<std::string> fields;
    while (!line.empty()) {
        const gsize start = MIN(line.find_first_not_of(' '), line.size());
        line.remove_prefix(start);
        const gsize end = MIN(line.find(' '), line.size());
        if (end > 0)
            fields.emplace_back(line.substr(0, end));
        line.remove_prefix(end);
    }
    return fields;
}

template <class Number> bool ReadNumber(std::string_view text, Number *number) {
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), *number);
    return failure == std::errc() && end == text.data() + text.size();
}

/* Turns the older form, six fields with the creation number apart, into the present one. */
void ModernizeFields(std::vector<std::string> *fields) {
    std::vector<std::string> &all = *fields;
    if (all.size() == 6 && all[1].find_first_of("-()") == std::string::npos &&
        all[5].find('=') != std::string::npos)
        all[1] += "-" + all[4];
}

bool ParseMember(std::string_view text, LockValues *values) {
    std::vector<std::string> fields = SplitFields(text);
    if (fields.size() < 5 || fields.size() >= kMaxFields)
        return false;
    ModernizeFields(&fields);
    if (!ReadNumber(fields[2], &values->lamportNumber) || (fields[3] != "X" && fields[3] != "S"))
        return false;
    values->machineID = fields[0];
    values->executionID = fields[1];
    values->lockType = fields[3][0];
    values->locationChecksum.clear();
    for (gsize i = 5; i < fields.size(); i++)
        if (fields[i].starts_with("lc="))
            values->locationChecksum = fields[i].substr(3);
    return true;
}

void LogFields(std::string_view text, const std::string &path) {
    Warning("FILE: %s removing problematic lock file '%s'\n", "FileLockMemberValues", path.c_str());
    Log("FILE: %s '%s' contents are:\n", "FileLockMemberValues", path.c_str());
    const std::vector<std::string> fields = SplitFields(text);
    for (guint i = 0; i < MIN(fields.size(), kMaxFields); i++)
        Log("FILE: %s %s argv[%u]: '%s'\n", "FileLockMemberValues", path.c_str(), i,
            fields[i].c_str());
}

MemberResult Fail(const char *what, const std::string &path, int *error) {
    *error = errno;
    Warning("FILE: %s %s on '%s': %s\n", "FileLockMemberValues", what, path.c_str(),
            Err_Errno2String(*error));
    return MemberResult::Failed;
}

/* Returns the hardware address of the first network interface that has one. */
std::array<guint8, 8> HardwareAddress() {
    std::array<guint8, 8> address = {};
    const Descriptor control(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    struct if_nameindex *names = control.number >= 0 ? if_nameindex() : nullptr;
    for (const struct if_nameindex *name = names; name != nullptr && name->if_index != 0; name++) {
        ifreq request = {};
        g_strlcpy(request.ifr_name, name->if_name, sizeof request.ifr_name);
        constexpr char kNone[6] = {};
        if (ioctl(control.number, SIOCGIFHWADDR, &request) != 0 ||
            memcmp(request.ifr_hwaddr.sa_data, kNone, sizeof kNone) == 0)
            continue;
        memcpy(address.data(), request.ifr_hwaddr.sa_data, 6);
        break;
    }
    if (names != nullptr)
        if_freenameindex(names);
    return address;
}

/* Returns the bytes of an old machine identifier. Empty, after a warning, if it is none. */
std::vector<guint8> DecodeMachineID(std::string text, int number) {
    for (char &c : text)
        if (c == '-')
            c = '/';
    guint8 *bytes = nullptr;
    gsize size = 0;
    const bool isGood =
        Base64_EasyDecode(text.c_str(), &bytes, &size) && size == kHardwareOffset + 8;
    std::vector<guint8> decoded;
    if (isGood)
        decoded.assign(bytes, bytes + size);
    else
        Warning("%s: unexpected decode problem #%d (%s)\n", "OldMachineIDMatch", number,
                text.c_str());
    free(bytes);
    return decoded;
}

/* Reads "4711-123456..." or "4711"; the creation number is then 0. */
bool FileLockParseProcessDescriptor(const std::string &text, pid_t *pid, guint64 *creation) {
    const char *end = text.data() + text.size();
    const auto first = std::from_chars(text.data(), end, *pid);
    *creation = 0;
    if (first.ec != std::errc() || *pid <= 0)
        return false;
    if (first.ptr == end)
        return true;
    return *first.ptr == '-' && std::from_chars(first.ptr + 1, end, *creation).ec == std::errc();
}

} // namespace

guint32 FileLockHash(const std::string &text) {
    guint32 hash = 5381;
    for (char c : text)
        hash = hash * 33 + static_cast<guint8>(c);
    return hash;
}

bool FileLockIsEntryName(const std::string &name) {
    if (name.size() != 10 || !name.ends_with(".lck") || strchr("MDE", name[0]) == nullptr)
        return false;
    for (gsize i = 1; i < 6; i++)
        if (!g_ascii_isdigit(name[i]))
            return false;
    return true;
}

namespace {

std::string MakeMachineID() {
    char host[256] = "";
    gethostname(host, sizeof host - 1);
    const guint32 hash = FileLockHash(host);
    const std::array<guint8, 8> hardware = HardwareAddress();
    guint8 bytes[kHardwareOffset + 8];
    memcpy(bytes, &hash, sizeof hash);
    memcpy(bytes + kHardwareOffset, hardware.data(), hardware.size());
    char text[20];
    gsize size = 0;
    Base64_Encode(bytes, sizeof bytes, text, sizeof text, &size);
    std::string id(text, size);
    for (char &c : id)
        if (c == '/')
            c = '-';
    return id;
}

/* What names this process in member files. */
struct Identity {
    const pid_t pid;
    const std::string machineID;
    const std::string executionID;
    const Identity *parents; /* of before a fork */
};
constinit std::atomic<const Identity *> gIdentity{nullptr};

/* Returns the identity of this process, which is found out once and once more in a child. */
const Identity &OwnIdentity() {
    const pid_t self = getpid();
    const Identity *known = gIdentity.load(std::memory_order_acquire);
    while (known == nullptr || known->pid != self) {
        const auto *made = new Identity{self, known != nullptr ? known->machineID : MakeMachineID(),
                                        FileLockProcessDescriptor(self), known};
        if (gIdentity.compare_exchange_strong(known, made))
            return *made;
        delete made;
    }
    return *known;
}

} // namespace

const std::string &FileLockGetMachineID() {
    return OwnIdentity().machineID;
}

bool FileLockMachineIDMatch(const std::string &first, const std::string &second) {
    const bool isUuid = first.starts_with(kUuid);
    if (isUuid != second.starts_with(kUuid))
        return false;
    if (isUuid)
        return first == second;
    /* the host's name may have changed, its hardware has not */
    const std::vector<guint8> one = DecodeMachineID(first, 1);
    const std::vector<guint8> two = DecodeMachineID(second, 2);
    return !one.empty() && !two.empty() &&
           std::equal(one.begin() + kHardwareOffset, one.end(), two.begin() + kHardwareOffset);
}

bool FileLockIsThisMachine(const std::string &machineID) {
    const std::string &own = FileLockGetMachineID();
    return machineID == own || FileLockMachineIDMatch(own, machineID);
}

std::string FileLockProcessDescriptor(pid_t pid) {
    if (kill(pid, 0) != 0 && errno == ESRCH)
        return "";
    const std::string unknown = std::to_string(pid) + "-0";
    const Descriptor file(gFileCalls->open(("/proc/" + std::to_string(pid) + "/stat").c_str(),
                                           O_RDONLY | O_CLOEXEC, 0));
    char buffer[1024];
    const ssize_t size = file.number >= 0 ? ReadAll(file.number, buffer, sizeof buffer) : -1;
    if (size <= 0)
        return unknown;
    /* pid (command) state ...: the command may have blanks and parentheses of its own */
    const std::string_view text(buffer, static_cast<gsize>(size));
    const gsize open = text.find('(');
    const gsize close = text.rfind(')');
    if (open == std::string_view::npos || close == std::string_view::npos || close < open)
        return unknown;
    const std::vector<std::string> fields = SplitFields(text.substr(close + 1));
    guint64 creation = 0;
    if (fields.size() < 20 ||
        !ReadNumber(fields[19], &creation)) /* field 22, the third is the first here */
        return unknown;
    std::string command(text.substr(open, MIN(close - open + 1, kMaxCommand)));
    for (char &c : command)
        if (c == ' ')
            c = '_';
    return std::to_string(pid) + "-" + std::to_string(creation) + command;
}

const std::string &FileLockGetExecutionID() {
    return OwnIdentity().executionID;
}

bool FileLockValidExecutionID(const std::string &text) {
    pid_t pid;
    guint64 creation;
    if (!FileLockParseProcessDescriptor(text, &pid, &creation)) {
        Warning("FILE: %s parse error on '%s'. Assuming valid.\n", "FileLockValidExecutionID",
                text.c_str());
        return true;
    }
    const std::string present = FileLockProcessDescriptor(pid);
    pid_t presentPid;
    guint64 presentCreation;
    if (present.empty() || !FileLockParseProcessDescriptor(present, &presentPid, &presentCreation))
        return false;
    return creation == 0 || presentCreation == 0 || creation == presentCreation;
}

MemberResult FileLockMemberValues(const std::string &directory, const std::string &name,
                                  LockValues *values, int *error) {
    const std::string path = directory + "/" + name;
    const Descriptor file(
        gFileCalls->open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0));
    if (file.number < 0 && errno == ENOENT)
        return MemberResult::Vanished;
    if (file.number < 0)
        return Fail("open failure", path, error);
    struct stat status;
    if (fstat(file.number, &status) != 0)
        return Fail("file size failure", path, error);
    const auto fileSize = static_cast<gsize>(status.st_size);
    if (fileSize != kFileLockMemberSize) {
        Warning("FILE: %s file '%s': size %lu, required size %zd\n", "FileLockMemberValues",
                path.c_str(), fileSize, kFileLockMemberSize);
        gFileCalls->unlink(path.c_str());
        return MemberResult::Vanished;
    }
    char buffer[kFileLockMemberSize];
    const ssize_t size = ReadAll(file.number, buffer, sizeof buffer);
    if (size < 0)
        return Fail("read failure", path, error);
    if (static_cast<gsize>(size) != sizeof buffer) {
        Warning("FILE: %s read length issue on '%s': %zd and %zd\n", "FileLockMemberValues",
                path.c_str(), size, kFileLockMemberSize);
        *error = EIO;
        return MemberResult::Failed;
    }
    const std::string_view text(buffer, strnlen(buffer, sizeof buffer));
    if (!ParseMember(text, values)) {
        LogFields(text, path);
        gFileCalls->unlink(path.c_str());
        return MemberResult::Vanished;
    }
    values->memberName = name;
    return MemberResult::Read;
}

int FileLockCreateMemberFile(int fd, const LockValues &values, const std::string &entryPath,
                             const std::string &memberPath) {
    constexpr const char *kFunction = "FileLockCreateMemberFile";
    const gsize dash = values.executionID.find('-');
    char buffer[kFileLockMemberSize] = {};
    g_snprintf(buffer, sizeof buffer, "%s %s %u %s %lu lc=%s", values.machineID.c_str(),
               values.executionID.c_str(), values.lamportNumber, values.lockType == 'X' ? "X" : "S",
               strtoul(values.executionID.c_str() + (dash != std::string::npos ? dash + 1 : 0),
                       nullptr, 10),
               values.locationChecksum.c_str());
    ssize_t size;
    do
        size = gFileCalls->write(fd, buffer, sizeof buffer);
    while (size < 0 && errno == EINTR);
    const int writeError = size < 0 ? errno : 0;
    if (size < 0)
        Warning("FILE: %s write of '%s' failed: %s\n", kFunction, entryPath.c_str(),
                Err_Errno2String(writeError));
    else if (static_cast<gsize>(size) != sizeof buffer)
        Warning("FILE: %s write length issue on '%s': %zd and %zd\n", kFunction, entryPath.c_str(),
                size, sizeof buffer);
    if (gFileCalls->close(fd) != 0) {
        const int error = errno;
        Warning("FILE: %s close of '%s' failed: %s\n", kFunction, entryPath.c_str(),
                Err_Errno2String(error));
        return error;
    }
    if (static_cast<gsize>(size) != sizeof buffer)
        return size < 0 ? writeError : EIO;
    if (gFileCalls->rename(entryPath.c_str(), memberPath.c_str()) != 0) {
        const int error = errno;
        Warning("FILE: %s FileRename of '%s' to '%s' failed: %s\n", kFunction, entryPath.c_str(),
                memberPath.c_str(), Err_Errno2String(error));
        return error;
    }
    return 0;
}

guint32 FileSimpleRandom() {
    static guint32 state = 0;
    static pid_t seededBy = 0; /* a child must not draw the numbers of its parent */
    MXUserExclLock *lock = MXUser_CreateSingletonExclLock(&fileSimpleRandomLock,
                                                          "fileSimpleRandomLock", kRandomLockRank);
    MXUser_AcquireExclLock(lock);
    if (const pid_t self = getpid(); seededBy != self)
        state = static_cast<guint32>(seededBy = self);
    state = state * 1664525 + 1013904223;
    const guint32 number = state;
    MXUser_ReleaseExclLock(lock);
    return number;
}

guint32 FileSleeper(guint32 minMsec, guint32 maxMsec) {
    const guint32 range = maxMsec - minMsec;
    const auto msec = minMsec + static_cast<guint32>(guint64{FileSimpleRandom()} * range >> 32);
    gFileCalls->sleep(msec);
    return msec;
}
