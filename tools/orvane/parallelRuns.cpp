#include "tools/orvane/parallelRuns.h"

#include <algorithm>
#include <optional>

#include <fmt/format.h>

#include "tools/orvane/command.h"
#include "tools/orvane/jsonText.h"
#include "tools/orvane/methodRun.h"
#include "tools/orvane/printer.h"
#include "tools/orvane/progressBars.h"
#include "tools/orvane/textWidth.h"

namespace orvaneCli {

namespace {

class Runner {
public:
    Runner(const std::vector<ParallelRun> &allRuns, const ParallelOptions &itsOptions)
        : runs(allRuns), options(itsOptions), isTable(GetOutputForm() == OutputForm::kTable),
          bars(options.hasBars && isTable),
          printer({{.key = "name"}, {.key = "task"}, {.key = "result"}, {.key = "error"}}) {
        for (const ParallelRun &run : runs)
            nameWidth = std::max(nameWidth, TextWidth(Printable(run.name)));
    }

    void Run() {
        while (next < runs.size() || !active.empty()) {
            while (next < runs.size() && active.size() < options.most && !isLost)
                Start(next++);
            if (active.empty())
                break;
            WaitUntil([&] { return NoteProgress(); }, bars);
            const std::vector<size_t> before = active;
            for (const size_t number : before) {
                if (runs[number].isOver())
                    Finish(number);
            }
        }
    }
    /* The rows are complete; the bars are gone. */
    void End() {
        bars.Draw();
        if (!isTable)
            printer.End();
        for (const Failure &failure : failures)
            ReportFailure(failure);
        if (next < runs.size())
            ReportFailure(Failure(Text(MSGID("run.notStarted") "%d were not started",
                                       static_cast<int>(runs.size() - next))));
        if (!failures.empty())
            throw Failure("", failures.front().status); /* reported already */
    }
    std::vector<std::string> ActiveTasks() const {
        std::vector<std::string> ids;
        for (const size_t number : active) {
            if (std::string id = runs[number].taskId(); !id.empty())
                ids.push_back(std::move(id));
        }
        return ids;
    }

private:
    /* Whether one of the active ones is over. */
    bool NoteProgress() {
        bool isOneOver = false;
        for (const size_t number : active) {
            bars.Set(number, Printable(runs[number].name), runs[number].percent());
            isOneOver = isOneOver || runs[number].isOver();
        }
        return isOneOver;
    }
    void Start(size_t number) {
        try {
            runs[number].start();
            active.push_back(number);
        } catch (const Interrupted &) {
            throw;
        } catch (const Failure &failure) {
            Fail(number, failure);
        }
    }
    void Finish(size_t number) {
        std::erase(active, number);
        bars.Remove(number);
        const std::string task = runs[number].taskId();
        try {
            runs[number].succeed();
        } catch (const Interrupted &) {
            throw;
        } catch (const Failure &failure) {
            Fail(number, failure);
            return;
        }
        Show(number, options.showsTasks && !task.empty() ? "started" : "done", nullptr);
    }
    void Fail(size_t number, const Failure &failure) {
        isLost = isLost || failure.status == kNoConnection || failure.status == kLoginRefused;
        failures.push_back(failure);
        Show(number, "failed", failure.what());
    }
    void Show(size_t number, const char *result, const char *error) {
        const ParallelRun &run = runs[number];
        const std::string task = run.taskId();
        if (isTable)
            return ShowLine(run, task, result, error != nullptr);
        printer.Row({TextCell(run.name), task.empty() ? NothingCell() : TextCell(task),
                     TextCell(result), error == nullptr ? NothingCell() : TextCell(error)});
        try {
            if (GetOutputForm() != OutputForm::kJson)
                printer.Flush();
        } catch (const OutputFailure &) {
            /* what was started is followed to its end; the status at the end says it */
        }
    }
    void ShowLine(const ParallelRun &run, const std::string &task, std::string_view result,
                  bool hasFailed) {
        if (options.isQuiet && !hasFailed && result != "started")
            return;
        std::string word = options.done;
        if (hasFailed)
            word = Text(MSGID("run.failed") "failed");
        else if (result == "started")
            word = Printable(task);
        bars.Line(fmt::format("{}  {}", PadText(Printable(run.name), nameWidth),
                              terminal.Styled(hasFailed ? Style::kBad : Style::kGood, word)));
    }

    const std::vector<ParallelRun> &runs;
    const ParallelOptions &options;
    bool isTable;
    Terminal terminal;
    ProgressBars bars;
    Printer printer;
    int nameWidth = 0;
    size_t next = 0;
    std::vector<size_t> active;
    bool isLost = false;
    std::vector<Failure> failures;
};

} // namespace

void RunInParallel(const std::vector<ParallelRun> &runs, const ParallelOptions &options) {
    std::optional<Runner> runner(std::in_place, runs, options);
    try {
        runner->Run();
        runner->End();
    } catch (const Interrupted &interrupted) {
        const std::string goesOn = GoesOnText(runner->ActiveTasks());
        runner.reset(); /* the bars are gone before the message comes */
        throw Failure(interrupted.what() + goesOn, interrupted.status);
    }
}

} // namespace orvaneCli
