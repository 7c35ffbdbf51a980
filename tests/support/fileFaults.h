/*
 * fileFaults.h -- puts a test between the file rooms and the system
 *
 *   const FileFaults faults([](const FileCall &call) {
 *       return call.kind == FileCall::Fsync ? EIO : FileFaults::kPass;
 *   });
 *
 * The function is called before each system call of the table and decides what becomes of it.
 *
 * Threads: the function is called on any; objects are made and destroyed while no other thread uses files.
 */
#pragma once

#include <cerrno>
#include <functional>
#include <tuple>
#include <utility>

#include "lib/file/fileCalls.h"

/* A call on its way. What it does not have is 0. */
struct FileCall {
    enum Kind {
        // clang-format off
        Open, Close, Read, Write, Pread, Pwrite, Readv, Writev, Preadv, Pwritev, Flock, Fsync,
        Ftruncate, Fchmod, Fchown, Rename, Link, Unlink, Mkdir, Rmdir, Lstat, Statfs, List, Sleep
        // clang-format on
    };
    Kind kind;
    int number = 0; /* the descriptor; the flags of Open */
    const char *path = nullptr;
    const char *to = nullptr;
    const void *data = nullptr;
    size_t size = 0;
    guint32 msec = 0;
};

struct FileFaults {
    static constexpr int kPass = 0;   /* the call is made */
    static constexpr int kShort = -1; /* about half of it is moved */
    static constexpr int kSkip = -2;  /* it is not made and succeeds */
    /* Otherwise the call fails with this errno value. */
    using Before = std::function<int(const FileCall &)>;

    explicit FileFaults(Before before);
    ~FileFaults();
    FileFaults(const FileFaults &) = delete;
    FileFaults &operator=(const FileFaults &) = delete;

    static inline Before before_; /* of the object that lives */

private:
    const FileCalls *replaced;
    const Before replacedBefore;
};

namespace faultTable {

inline void Note(FileCall *call, const char *path) {
    (call->path == nullptr ? call->path : call->to) = path;
}
inline void Note(FileCall *call, const void *data) {
    call->data = data;
}
inline void Note(FileCall *call, size_t size) {
    call->size = size;
}
inline void Note(FileCall *call, guint32 msec) {
    call->msec = msec;
}
template <class Other> void Note(FileCall *call, const Other &value) {
    if constexpr (std::is_same_v<Other, int>)
        if (call->number == 0)
            call->number = value;
}

/* Makes the function of a slot, with the signature that the slot has. */
template <auto slot, FileCall::Kind kind, class Result, class... Args>
constexpr auto Guard(Result (*FileCalls::*)(Args...)) {
    return +[](Args... args) -> Result {
        FileCall call{.kind = kind};
        (Note(&call, args), ...);
        const int decision = FileFaults::before_(call);
        std::tuple<Args...> all(args...);
        if constexpr (sizeof...(Args) >= 3 && std::is_same_v<Result, ssize_t>)
            if (decision == FileFaults::kShort)
                std::get<2>(all) = (std::get<2>(all) + 1) / 2;
        if (decision == FileFaults::kPass || decision == FileFaults::kShort)
            return std::apply(kFileCallsOfSystem.*slot, all);
        if constexpr (!std::is_void_v<Result>) {
            if (decision == FileFaults::kSkip)
                return 0;
            errno = decision;
            return kind == FileCall::List ? decision : -1;
        }
    };
}

#define GUARD(slot, kind) .slot = Guard<&FileCalls::slot, FileCall::kind>(&FileCalls::slot)
inline constexpr FileCalls kTable = {
    GUARD(open, Open),           GUARD(close, Close),   GUARD(read, Read),
    GUARD(write, Write),         GUARD(pread, Pread),   GUARD(pwrite, Pwrite),
    GUARD(readv, Readv),         GUARD(writev, Writev), GUARD(preadv, Preadv),
    GUARD(pwritev, Pwritev),     GUARD(flock, Flock),   GUARD(fsync, Fsync),
    GUARD(ftruncate, Ftruncate), GUARD(fchmod, Fchmod), GUARD(fchown, Fchown),
    GUARD(rename, Rename),       GUARD(link, Link),     GUARD(unlink, Unlink),
    GUARD(mkdir, Mkdir),         GUARD(rmdir, Rmdir),   GUARD(lstat, Lstat),
    GUARD(statfs, Statfs),       GUARD(list, List),     GUARD(sleep, Sleep),
};
#undef GUARD

} // namespace faultTable

inline FileFaults::FileFaults(Before before) : replaced(gFileCalls), replacedBefore(before_) {
    before_ = std::move(before);
    gFileCalls = &faultTable::kTable;
}
inline FileFaults::~FileFaults() {
    gFileCalls = replaced;
    before_ = replacedBefore;
}
