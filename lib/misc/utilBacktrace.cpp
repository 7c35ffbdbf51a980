#include "lib/misc/utilBacktrace.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include <dlfcn.h>
#include <unwind.h>

#include "lib/misc/log.h"

namespace {

constexpr guint kMaxFrames = 500;
constexpr guint kMaxSkipped = 10;
constexpr gsize kMaxLine = 509;

/* Numbers of the registers in unwind tables. */
enum UnwindRegister { kRbx = 3, kRbp = 6, kR12 = 12, kR13 = 13, kR14 = 14, kR15 = 15 };

using Word = unsigned long;

struct Walk {
    guintptr start; /* frames below it do not count */
    void (*print)(const Walk &walk, _Unwind_Context *context);
    Util_OutputFunc printFunc;
    gpointer data;
    guint numPrinted = 0;
    guint numSkipped = 0;
};

Word Register(_Unwind_Context *context, UnwindRegister number) {
#if defined(__x86_64__)
    return _Unwind_GetGR(context, number);
#else
    (void)context;
    (void)number;
    return 0; // the names of the line exist on that processor only
#endif
}

void PrintRegisters(const Walk &walk, _Unwind_Context *context) {
    walk.printFunc(walk.data,
                   "Backtrace[%u] %016lx rip=%016lx rbx=%016lx rbp=%016lx r12=%016lx r13=%016lx "
                   "r14=%016lx r15=%016lx\n",
                   walk.numPrinted, Word{_Unwind_GetCFA(context)}, Word{_Unwind_GetIP(context)},
                   Register(context, kRbx), Register(context, kRbp), Register(context, kR12),
                   Register(context, kR13), Register(context, kR14), Register(context, kR15));
}

void PrintSymbol(const Walk &walk, _Unwind_Context *context) {
    const Word frame = _Unwind_GetCFA(context);
    const Word ip = _Unwind_GetIP(context);
    auto *address = reinterpret_cast<void *>(ip);
    void *function = _Unwind_FindEnclosingFunction(address);
    Dl_info info;
    if ((function && dladdr(function, &info)) || dladdr(address, &info)) {
        walk.printFunc(walk.data,
                       "SymBacktrace[%u] %016lx rip=%016lx in function %s in object %s loaded at "
                       "%016lx\n",
                       walk.numPrinted, frame, ip, info.dli_sname ? info.dli_sname : "(null)",
                       info.dli_fname ? info.dli_fname : "(null)",
                       reinterpret_cast<Word>(info.dli_fbase));
        return;
    }
    walk.printFunc(walk.data, "SymBacktrace[%u] %016lx rip=%016lx \n", walk.numPrinted, frame, ip);
}

_Unwind_Reason_Code VisitFrame(_Unwind_Context *context, void *data) {
    auto *walk = static_cast<Walk *>(data);
    const guintptr frame = _Unwind_GetCFA(context);
    if (frame < walk->start || walk->numPrinted >= kMaxFrames) {
        const bool isEnd = walk->numPrinted > 0 || ++walk->numSkipped >= kMaxSkipped;
        return isEnd ? _URC_END_OF_STACK : _URC_NO_REASON;
    }
    walk->print(*walk, context);
    walk->numPrinted++;
    walk->start = frame + sizeof(guint64);
    return _URC_NO_REASON;
}

/* Formats a line and logs it. */
void UtilLogWrapper(gpointer, const char *format, ...) {
    char line[kMaxLine];
    va_list arguments;
    va_start(arguments, format);
    const int wanted = vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    if (wanted < 0)
        return;
    const gsize length = strlen(line);
    if (length > 0 && line[length - 1] != '\n') {
        const gsize end = std::min(length, sizeof line - 2);
        line[end] = '\n';
        line[end + 1] = '\0';
    }
    Log("%s", line);
}

struct Buffer {
    guintptr start;
    guintptr *next;
    gsize left;
};

_Unwind_Reason_Code StoreFrame(_Unwind_Context *context, void *data) {
    auto *buffer = static_cast<Buffer *>(data);
    if (_Unwind_GetCFA(context) < buffer->start)
        return _URC_NO_REASON;
    if (buffer->left == 0)
        return _URC_END_OF_STACK;
    *buffer->next++ = _Unwind_GetIP(context);
    buffer->left--;
    return _URC_NO_REASON;
}

} // namespace

void Util_Backtrace(gint bugNumber) {
    Util_BacktraceWithFunc(bugNumber, UtilLogWrapper, nullptr);
}

void Util_BacktraceWithFunc(gint bugNumber, Util_OutputFunc printFunc, gpointer data) {
    int here = 0;
    if (bugNumber != 0)
        printFunc(data, "Backtrace for bugNr=%d\n", bugNumber);
    else
        printFunc(data, "Backtrace:\n");
    Util_BacktraceFromPointerWithFunc(&here, printFunc, data);
}

void Util_BacktraceFromPointer(gconstpointer framePointer) {
    Util_BacktraceFromPointerWithFunc(framePointer, UtilLogWrapper, nullptr);
}

void Util_BacktraceFromPointerWithFunc(gconstpointer framePointer, Util_OutputFunc printFunc,
                                       gpointer data) {
    const auto start = reinterpret_cast<guintptr>(framePointer);
    for (auto print : {PrintRegisters, PrintSymbol}) {
        Walk walk = {start, print, printFunc, data};
        _Unwind_Backtrace(VisitFrame, &walk);
    }
}

void Util_BacktraceToBuffer(gconstpointer framePointer, guintptr *buffer, gsize count) {
    std::fill_n(buffer, count, 0);
    Buffer rest = {reinterpret_cast<guintptr>(framePointer), buffer, count};
    _Unwind_Backtrace(StoreFrame, &rest);
}
