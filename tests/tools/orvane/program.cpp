#include "tests/tools/orvane/program.h"
#include "tests/support/paths.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>

#include <fcntl.h>
#include <glib.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int kTextLimitMs = 20000;
constexpr int kEndLimitMs = 60000;
constexpr unsigned long kMostMapped = 1UL << 30; /* more is a sanitizer's own memory */

std::vector<char *> Pointers(std::vector<std::string> &words) {
    std::vector<char *> all;
    for (std::string &word : words)
        all.push_back(word.data());
    all.push_back(nullptr);
    return all;
}

/* Gives the terminal to a group of processes. */
void PutInForeground(pid_t group) {
    signal(SIGTTOU, SIG_IGN);
    tcsetpgrp(STDIN_FILENO, group);
    signal(SIGTTOU, SIG_DFL);
}

/* Returns in a child of this process, which is the foreground job of the terminal. This process follows it, and ends as
 * it ends. */
void ControlJob() {
    const pid_t job = fork();
    if (job == 0) {
        setpgid(0, 0);
        PutInForeground(getpid());
        return;
    }
    setpgid(job, job);
    int status = 0;
    for (int i = 1; waitpid(job, &status, WUNTRACED) == job && WIFSTOPPED(status); i++) {
        PutInForeground(getpid());
        dprintf(STDOUT_FILENO, "[stop %d]", i);
        char line[16];
        if (read(STDIN_FILENO, line, sizeof line) <= 0)
            break;
        PutInForeground(job);
        kill(-job, SIGCONT);
        dprintf(STDOUT_FILENO, "[go %d]", i);
    }
    _exit(WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status));
}

/* Appends what can be read now; returns false at the end. */
bool Append(int descriptor, std::string *text) {
    char buffer[4096];
    const ssize_t count = read(descriptor, buffer, sizeof buffer);
    if (count > 0)
        text->append(buffer, size_t(count));
    return count > 0 || (count < 0 && errno == EINTR);
}

} // namespace

Program::Program(const std::string &path, const std::vector<std::string> &arguments,
                 bool onTerminal, const Streams &streams) {
    Start(path, arguments, onTerminal, false, streams);
}

std::unique_ptr<Program> Program::StartJob(const std::string &path,
                                           const std::vector<std::string> &arguments) {
    std::unique_ptr<Program> program(new Program);
    program->Start(path, arguments, true, true, {});
    return program;
}

void Program::Start(const std::string &path, const std::vector<std::string> &arguments,
                    bool onTerminal, bool isJob, const Streams &streams) {
    std::vector<std::string> words = arguments;
    words.insert(words.begin(), path.starts_with('/') ? path : BuildPath(path));
    std::vector<char *> argv = Pointers(words);
    /* for a build with sanitizers: stacks as deep as the suppressions need; each allocation records one */
    setenv("ASAN_OPTIONS",
           looksForLeaks ? "fast_unwind_on_malloc=0:malloc_context_size=8" : "detect_leaks=0", 1);
    setenv(
        "LSAN_OPTIONS",
        ("print_suppressions=0:suppressions=" + SourcePath("tests/tools/orvane/glib.supp")).c_str(),
        1);

    /* the tester's own language must not decide; the encoding of a terminal may be a test's matter */
    if (const char *all = getenv("LC_ALL"); all != nullptr) {
        setenv("LC_CTYPE", all, 1);
        unsetenv("LC_ALL");
    }
    setenv("LC_MESSAGES", language.c_str(), 1);

    int inPipe[2];
    int outPipe[2];
    int errPipe[2];
    if (!onTerminal && (pipe2(inPipe, O_CLOEXEC) != 0 || pipe2(outPipe, O_CLOEXEC) != 0 ||
                        pipe2(errPipe, O_CLOEXEC) != 0))
        g_error("pipe: %s", g_strerror(errno));
    const winsize size = {.ws_row = 24, .ws_col = static_cast<unsigned short>(columns)};
    child = onTerminal ? forkpty(&out, nullptr, nullptr, columns > 0 ? &size : nullptr) : fork();
    if (child < 0)
        g_error("fork: %s", g_strerror(errno));
    if (child == 0) {
        if (!onTerminal) {
            dup2(inPipe[0], STDIN_FILENO);
            dup2(streams.output.empty() ? outPipe[1] : open(streams.output.c_str(), O_WRONLY),
                 STDOUT_FILENO);
            dup2(errPipe[1], STDERR_FILENO);
            if (streams.output == "closed")
                close(STDOUT_FILENO);
            if (streams.output == "pipe") {
                int unread[2];
                if (pipe(unread) != 0)
                    _exit(127);
                dup2(unread[1], STDOUT_FILENO);
                close(unread[0]);
                close(unread[1]);
            }
        }
        if (isJob)
            ControlJob();
        execv(argv[0], argv.data());
        _exit(127);
    }
    if (onTerminal)
        return;
    if (write(inPipe[1], streams.input.data(), streams.input.size()) < 0)
        g_error("cannot write the input: %s", g_strerror(errno));
    close(inPipe[0]);
    close(inPipe[1]);
    close(outPipe[1]);
    close(errPipe[1]);
    out = outPipe[0];
    err = errPipe[0];
}

Program::~Program() {
    if (child > 0) {
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
    }
    for (int descriptor : {out, err}) {
        if (descriptor >= 0)
            close(descriptor);
    }
}

/* Returns false once both outputs have ended, or after the time limit. */
bool Program::ReadSome(int timeoutMs) {
    pollfd descriptors[] = {{out, POLLIN, 0}, {err, POLLIN, 0}};
    if (poll(descriptors, 2, timeoutMs) <= 0)
        return false;
    if (descriptors[0].revents && !Append(out, &outText)) {
        close(out);
        out = -1;
    }
    if (descriptors[1].revents && !Append(err, &errText)) {
        close(err);
        err = -1;
    }
    return out >= 0 || err >= 0;
}

bool Program::WaitFor(const std::string &text) {
    while (outText.find(text) == std::string::npos) {
        if (!ReadSome(kTextLimitMs))
            return outText.find(text) != std::string::npos;
    }
    return true;
}

void Program::Type(const std::string &text) {
    if (write(out, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
        g_error("cannot type: %s", g_strerror(errno));
}

int Program::OpenTerminal() const {
    return open(ptsname(out), O_RDWR | O_NOCTTY | O_CLOEXEC);
}

void Program::Signal(int number) {
    kill(child, number);
}

bool Program::HasInMemory(const std::string &text) const {
    const std::string process = "/proc/" + std::to_string(child);
    std::ifstream maps(process + "/maps");
    std::ifstream memory(process + "/mem", std::ios::binary);
    if (!maps || !memory)
        g_error("the memory of %d cannot be read", child);
    for (std::string line; std::getline(maps, line);) {
        unsigned long begin = 0;
        unsigned long end = 0;
        if (std::sscanf(line.c_str(), "%lx-%lx", &begin, &end) != 2 ||
            line.find(" rw") == std::string::npos || end - begin > kMostMapped)
            continue;
        std::string block(end - begin, '\0');
        memory.clear();
        memory.seekg(std::streamoff(begin));
        memory.read(block.data(), std::streamsize(block.size()));
        if (block.find(text) != std::string::npos)
            return true;
    }
    return false;
}

Ended Program::Wait() {
    while (ReadSome(kEndLimitMs)) {
    }
    if (out >= 0 || err >= 0)
        kill(child, SIGKILL); /* it hangs */
    int status = 0;
    waitpid(child, &status, 0);
    child = 0;
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), outText, errText};
}
