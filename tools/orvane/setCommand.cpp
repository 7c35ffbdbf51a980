#include "tools/orvane/setCommand.h"

#include <optional>
#include <string_view>

#include <orvane/json.h>
#include <orvane/schema/qorm.h>

#include "tools/orvane/callCommand.h"
#include "tools/orvane/command.h"
#include "tools/orvane/commonOptions.h"
#include "tools/orvane/helpTexts.h"
#include "tools/orvane/objectFinder.h"
#include "tools/orvane/schemaWords.h"
#include "tools/orvane/specJson.h"
#include "tools/orvane/terminal.h"
#include "tools/orvane/wipedTexts.h"

namespace orvaneCli {

namespace {

constexpr std::string_view kReconfigure = "Reconfig";
constexpr std::string_view kModify = "modify"; /* whether what is not given stays as it is */

/* A method that changes the configuration, and which argument describes the change. */
struct Reconfiguration {
    MethodPtr method;
    guint spec;
};

/* The argument that is a data object, if the command can supply all that the method needs. */
std::optional<guint> SpecOf(const OrvaneMethodInfo &method) {
    std::optional<guint> spec;
    for (guint i = 0; i < method.numArguments; i++) {
        const OrvaneArgumentInfo &argument = method.arguments[i];
        if (g_type_is_a(argument.type, SKEMA_TYPE_QORM_DATA_OBJECT) && !spec)
            spec = i;
        else if (argument.name != kModify || argument.type != G_TYPE_BOOLEAN)
            return std::nullopt;
    }
    return spec;
}

/* The method of the class, or of the nearest of its bases that has one. */
Reconfiguration FindReconfiguration(GType type) {
    Reconfiguration best{};
    for (const std::string &name : MethodNamesOf(type)) {
        if (!name.starts_with(kReconfigure))
            continue;
        MethodPtr method(orvane_method_info_new(type, name.c_str()));
        const std::optional<guint> spec = SpecOf(*method);
        if (spec && (!best.method || g_type_is_a(method->owner, best.method->owner)))
            best = {std::move(method), *spec};
    }
    if (!best.method)
        throw BadUsage(Text(MSGID("set.noMethod") "a %s has no method that changes its "
                                                  "configuration as a whole; \"orvane call\" calls "
                                                  "any",
                            TypeWord(type).c_str()));
    return best;
}

/* The values of the method's arguments. */
class Values {
public:
    Values(const Reconfiguration &change, GObject *spec)
        : values(change.method->numArguments, GValue(G_VALUE_INIT)) {
        for (guint i = 0; i < values.size(); i++) {
            if (i == change.spec)
                g_value_set_object(g_value_init(&values[i], G_OBJECT_TYPE(spec)), spec);
            else
                g_value_set_boolean(g_value_init(&values[i], G_TYPE_BOOLEAN), TRUE);
        }
    }
    ~Values() {
        for (GValue &value : values)
            g_value_unset(&value);
    }
    Values(const Values &) = delete;
    Values &operator=(const Values &) = delete;

    const GValue *Data() const { return values.data(); }
    guint Count() const { return guint(values.size()); }

private:
    std::vector<GValue> values;
};

ObjectPtr<GObject> MakeSpec(const Service &service, GType type, const std::string &json) {
    GError *error = nullptr;
    ObjectPtr<GObject> spec(orvane_object_from_json(service.Session(), type, json.c_str(), &error));
    if (spec)
        return spec;
    throw BadUsage(Printable(TakeMessage(error)));
}

int RunSet(SetOptions &options) {
    const WipedTexts wiped(options.values);
    options.task.limitSeconds = GetCommonOptions().timeoutSeconds;
    return WithService(options, [&](const Service &service) {
        ObjectFinder finder(service);
        const ProxyPtr object = finder.Find(options.object);
        const Reconfiguration change = FindReconfiguration(G_OBJECT_TYPE(object.get()));
        const ValueReader reader(service.Session(),
                                 [&](const std::string &word) { return finder.Find(word); });
        const GType type = change.method->arguments[change.spec].type;
        std::vector<std::string> json;
        const WipedTexts wipedJson(json);
        json.push_back(SpecJson(type, options.values, reader));
        const ObjectPtr<GObject> spec = MakeSpec(service, type, json.front());
        const Values values(change, spec.get());
        RunMethod(service, *change.method, object.get(), values.Data(), values.Count(),
                  options.task, options.isDry);
        return kDone;
    });
}

} // namespace

GType SpecTypeOf(GType type) {
    const Reconfiguration change = FindReconfiguration(type);
    return change.method->arguments[change.spec].type;
}

void AddSet(CLI::App &program, SetOptions &options, int &status) {
    CLI::App *set = program.add_subcommand(
        "set", Text(MSGID("help.setCommand") "Change the configuration of an object"));
    set->footer(FooterText(
        Text(MSGID("help.set.footer") "The names are those of the description that the reconfigure "
                                      "method of the class takes, such as "
                                      "VirtualMachineConfigSpec for a machine: see \"orvane call "
                                      "CLASS --help\". \"a.b=VALUE\" sets a property of the object "
                                      "in a property. VALUE is as for \"orvane call\"."),
        {"orvane set /Datacenter/vm/web name=web-1 numCPUs=4"}));
    set->add_option("object", options.object,
                    Text(MSGID("help.object") "Path, id or name of an object, such as "
                                              "/Datacenter/vm/web or vm-101"))
        ->required();
    set->add_option("values", options.values,
                    Text(MSGID("help.set.values") "NAME=VALUE for each property that changes"))
        ->required();
    AddDryRun(*set, options.isDry);
    AddTaskOptions(*set, options.task);
    AddServiceOptions(*set, options);
    set->callback([&] { status = RunCommand([&] { return RunSet(options); }); });
}

} // namespace orvaneCli
