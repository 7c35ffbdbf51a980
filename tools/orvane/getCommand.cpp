#include "tools/orvane/getCommand.h"

#include <fmt/format.h>

#include "tools/orvane/command.h"
#include "tools/orvane/helpTexts.h"
#include "tools/orvane/jsonText.h"
#include "tools/orvane/message.h"
#include "tools/orvane/objectFinder.h"
#include "tools/orvane/objectReader.h"
#include "tools/orvane/printer.h"

namespace orvaneCli {

namespace {

using Json = nlohmann::ordered_json;

/* An object and what was read of it. */
struct Found {
    std::string word; /* of the command line */
    const ObjectToRead *object;
    const ReadObjectResult *result;
};

/* {"_type": "VirtualMachine", "_id": "vm-42", "name": ...} in one line, fit for a terminal. */
std::string JsonOf(const Found &found) {
    std::string json = "{\"_type\": ";
    AppendJsonText(json, ClassName(found.object->object.get()));
    json += ", \"_id\": ";
    AppendJsonText(json, found.object->object->id);
    for (const ReadProperty &property : found.result->properties) {
        json += ", ";
        AppendJsonText(json, property.name);
        json += ": " + TerminalJson(property.value);
    }
    return json + "}";
}

/* Adds a row for each value inside a value: "hardware.device[#0].label". */
void AddRows(Printer &printer, const std::string &path, const Json &value) {
    const bool isList = value.is_array() && !value.empty() && value.front().is_structured() &&
                        !value.front().contains("_id");
    if (isList) {
        for (size_t i = 0; i < value.size(); i++)
            AddRows(printer, fmt::format("{}[#{}]", path, i), value[i]);
        return;
    }
    if (!value.is_object() || value.contains("_id")) {
        printer.Row({TextCell(path), TextCell(TextOfJson(value))});
        return;
    }
    if (value.contains("_type") || value.empty())
        printer.Row({TextCell(path), TextCell(TextOfJson(value.value("_type", Json())))});
    for (const auto &[name, inner] : value.items()) {
        if (name != "_type")
            AddRows(printer, path + "." + name, inner);
    }
}

/* All properties: a table for each object. */
void PrintWhole(const Service &service, const std::vector<Found> &all) {
    const bool isTable = GetOutputForm() == OutputForm::kTable;
    Terminal terminal;
    for (const Found &each : all) {
        if (isTable && !service.IsQuiet()) {
            if (&each != &all.front())
                terminal.Line("");
            terminal.Heading(Printable(each.word),
                             Printable(fmt::format("{}:{}", ClassName(each.object->object.get()),
                                                   each.object->object->id)));
        }
        Printer printer(
            {{.key = "property", .title = "", .isWhole = true}, {.key = "value", .title = ""}},
            {.hasHeading = false});
        for (const ReadProperty &property : each.result->properties)
            AddRows(printer, property.name, property.value);
        printer.End();
    }
}

/* Chosen properties: a row for each object. */
void PrintChosen(const Service &service, const GetOptions &options, const std::vector<Found> &all) {
    const bool hasObject = GetOutputForm() == OutputForm::kTable || all.size() > 1;
    std::vector<Column> columns;
    if (hasObject)
        columns.push_back(
            {.key = "object", .title = Text(MSGID("column.object") "OBJECT"), .cutsStart = true});
    for (const std::string &path : options.properties)
        columns.push_back({.key = path, .title = Printable(path)});
    Printer printer(columns, {.hasHeading = !service.IsQuiet()});
    for (const Found &each : all) {
        std::vector<Cell> cells;
        if (hasObject)
            cells.push_back(TextCell(each.word));
        for (const std::string &path : options.properties) {
            const auto &properties = each.result->properties;
            const auto found = std::ranges::find(properties, path, &ReadProperty::name);
            cells.push_back(found != properties.end() ? TextCell(TextOfJson(found->value))
                                                      : NothingCell());
        }
        printer.Row(cells);
    }
    printer.End();
}

void PrintJson(const std::vector<Found> &all) {
    Printer printer({});
    for (const Found &each : all)
        printer.Row({}, JsonOf(each));
    printer.End();
}

/* What the service did not send, and why. */
int ReportMissing(const std::vector<Found> &all) {
    int status = kDone;
    for (const Found &each : all) {
        for (const MissingProperty &missing : each.result->missing)
            status = ReportFailure(Failure(
                Text(MSGID("get.missing") "%s: %s cannot be read: %s", Printable(each.word).c_str(),
                     Printable(missing.name).c_str(), Printable(missing.why).c_str()),
                kFailed, missing.fault));
    }
    return status;
}

int Get(Service &service, const GetOptions &options) {
    ObjectFinder finder(service);
    std::vector<ObjectToRead> objects;
    for (const std::string &word : options.objects) {
        ObjectToRead object{finder.Find(word), {}};
        for (const std::string &path : options.properties)
            object.paths.push_back(CheckPropertyPath(G_OBJECT_TYPE(object.object.get()), path));
        objects.push_back(std::move(object));
    }
    const std::vector<ReadObjectResult> results = ReadObjects(service, objects);
    std::vector<Found> all;
    for (size_t i = 0; i < objects.size(); i++)
        all.push_back({options.objects[i], &objects[i], &results[i]});
    if (IsJsonWanted())
        PrintJson(all);
    else if (options.properties.empty())
        PrintWhole(service, all);
    else
        PrintChosen(service, options, all);
    return ReportMissing(all);
}

int RunGet(GetOptions &options) {
    return WithService(options, [&](Service &service) { return Get(service, options); });
}

} // namespace

void AddGet(CLI::App &program, GetOptions &options, int &status) {
    CLI::App *get =
        program.add_subcommand("get", Text(MSGID("help.get") "Show the properties of objects"));
    get->footer(FooterText(
        Text(MSGID("help.get.footer") "An object is named by its path, its id, its name, or by "
                                      "class and id, as in Task:task-7. In a property path, [*] "
                                      "are all elements of a list, [#2] is the third one and [key] "
                                      "the one with that key. With --output plain and one object, "
                                      "-k writes the values alone."),
        {"orvane get --profile lab /Datacenter/vm/machine-0001",
         "orvane get --profile lab vm-101 vm-102 -k name -k runtime.host",
         "orvane get --profile lab vm-101 -k 'config.hardware.device[*].label'",
         "orvane get --profile lab TaskManager -k recentTask --output json"}));
    get->add_option("object", options.objects,
                    Text(MSGID("help.get.object") "Path, id or name of an object"))
        ->required();
    get->add_option(
           "-k,--property", options.properties,
           Text(MSGID("help.get.property") "Property path; may be repeated; all properties "
                                           "without it"))
        ->allow_extra_args(false);
    AddServiceOptions(*get, options, true);
    get->callback([&] { status = RunCommand([&] { return RunGet(options); }); });
}

} // namespace orvaneCli
