#include "tools/orvane/callCommand.h"

#include "tools/orvane/callArguments.h"
#include "tools/orvane/command.h"
#include "tools/orvane/commonOptions.h"
#include "tools/orvane/helpTexts.h"
#include "tools/orvane/jsonText.h"
#include "tools/orvane/library.h"
#include "tools/orvane/methodHelp.h"
#include "tools/orvane/objectFinder.h"
#include "tools/orvane/resultText.h"
#include "tools/orvane/settings.h"
#include "tools/orvane/terminal.h"
#include "tools/orvane/wipedTexts.h"

namespace orvaneCli {

namespace {

struct UnsetValue {
    GValue value = G_VALUE_INIT;
    ~UnsetValue() { orvane_value_cond_unset(&value); }
};

void WriteRequest(const OrvaneMethodInfo &method, SkemaQormManagedObject *object,
                  const GValue *values, guint numValues) {
    const std::string text = RequestText(method, object, values, numValues);
    WriteOutput(IsJsonWanted() ? "{\"request\": " + JsonText(text) + "}\n" : text + "\n");
}

/* The reference of the task. */
void WriteTask(const MethodRun &run) {
    WriteOutput(IsJsonWanted() ? "{\"_type\": \"Task\", \"_id\": " + JsonText(run.TaskId()) + "}\n"
                               : Printable(run.TaskId()) + "\n");
}

int RunCall(CallOptions &options) {
    if (options.isHelpWanted) {
        const Library library; /* loads the overlays of the schema */
        ShowSchemaHelp(options.method.empty() ? options.object : options.method);
        return kDone;
    }
    if (options.method.empty())
        throw BadUsage(
            Text(MSGID("call.incomplete") "call needs an object and a method; see orvane "
                                          "call --help"));
    const WipedTexts wiped(options.arguments);
    options.task.limitSeconds = GetCommonOptions().timeoutSeconds;
    return WithService(options, [&](const Service &service) {
        ObjectFinder finder(service);
        const ProxyPtr object = finder.Find(options.object);
        const GType type = G_OBJECT_TYPE(object.get());
        const MethodPtr method(orvane_method_info_new(type, options.method.c_str()));
        if (!method)
            throw NoMethod(options.method, type);
        const ValueReader reader(service.Session(),
                                 [&](const std::string &word) { return finder.Find(word); });
        const CallArguments arguments(*method, options.arguments, reader);
        RunMethod(service, *method, object.get(), arguments.Values(), arguments.Count(),
                  options.task, options.isDry);
        return kDone;
    });
}

} // namespace

void RunMethod(const Service &service, const OrvaneMethodInfo &method,
               SkemaQormManagedObject *object, const GValue *values, guint numValues,
               const TaskOptions &task, bool isDry) {
    if (isDry)
        return WriteRequest(method, object, values, numValues);
    MethodRun run(service, method.name, task);
    {
        const bool hasBar = ReturnsTask(method) && task.isTaskWaited && !service.IsQuiet() &&
                            GetOutputForm() == OutputForm::kTable;
        ProgressBars bars(hasBar);
        run.Start(method, object, values, numValues);
        try {
            WaitUntil(
                [&] {
                    if (!run.TaskId().empty())
                        bars.Set(0, method.name, run.Percent());
                    return run.IsOver();
                },
                bars);
        } catch (const Interrupted &interrupted) {
            throw Failure(interrupted.what() + GoesOnText({run.TaskId()}), interrupted.status);
        }
    }
    run.Succeed();
    if (!task.isTaskWaited && !run.TaskId().empty())
        return WriteTask(run);
    UnsetValue result;
    orvane_listener_get_result(run.Listener(), &result.value);
    WriteResult(&result.value);
}

void AddCall(CLI::App &program, CallOptions &options, int &status) {
    CLI::App *call = program.add_subcommand(
        "call", Text(MSGID("help.call") "Call a method of an object of the service"));
    call->footer(FooterText(
        Text(
            MSGID("help.call.footer") "\"orvane call METHOD --help\" lists the arguments of a "
                                      "method, and \"orvane call CLASS --help\" the properties of "
                                      "a class of data objects.\nA VALUE is a text, a number, true "
                                      "or false, a word; the path or id of an object; JSON for a "
                                      "data object; or @FILE for what is in a file, @- for stdin. "
                                      "A list takes NAME=VALUE several times. Others see the "
                                      "command line: give a secret as @FILE or @-."),
        {"orvane call ServiceInstance CurrentTime",
         "orvane call /Datacenter/vm/web ReconfigVM_Task spec='{\"name\": \"web-1\"}' --dry-run"}));
    /* METHOD and the arguments decide about the help */
    call->set_help_flag();
    call->add_flag("-h,--help", options.isHelpWanted, Text(MSGID("help.help") "Show this help"));
    call->add_option("object", options.object,
                     Text(MSGID("help.object") "Path, id or name of an object, such as "
                                               "/Datacenter/vm/web or vm-101"));
    call->add_option("method", options.method,
                     Text(MSGID("help.call.method") "Name of a method, such as PowerOnVM_Task"));
    call->add_option("arguments", options.arguments,
                     Text(MSGID("help.call.arguments") "NAME=VALUE for each argument"));
    AddDryRun(*call, options.isDry);
    AddTaskOptions(*call, options.task);
    AddServiceOptions(*call, options, true);
    call->callback([call, &options, &status] {
        if (options.isHelpWanted && options.object.empty())
            WriteOutput(call->help(call->get_parent()->get_name()));
        else
            status = RunCommand([&] { return RunCall(options); });
    });
}

} // namespace orvaneCli
