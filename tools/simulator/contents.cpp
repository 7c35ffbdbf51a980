#include "tools/simulator/contents.h"

#include <algorithm>

#include <fmt/format.h>

#include "tools/simulator/service.h"
#include "tools/simulator/types.h"

namespace simulator {

namespace {

std::string_view FirstName(std::string_view path) {
    return path.substr(0, path.find_first_of(".["));
}

/* Returns the part of a path after its first name and the separator. */
std::string_view BehindFirst(std::string_view path) {
    return path.substr(std::min(FirstName(path).size() + 1, path.size()));
}

const Troubles::Denial *FindDenial(const Service &service, const Object &object,
                                   std::string_view path) {
    for (const auto &denial : service.troubles.denials)
        if (IsA(object.type, denial.type) && FirstName(path) == denial.property)
            return &denial;
    return nullptr;
}

void AppendReference(std::string &text, const Object &object) {
    text.append("<obj type=\"").append(object.type).append("\">");
    AppendEscaped(text, object.id);
    text.append("</obj>");
}

void AppendMissing(std::string &text, const std::vector<Field> &denied) {
    for (const Field &field : denied) {
        text += "<missingSet><path>";
        AppendEscaped(text, field.name);
        text += "</path>";
        AppendElement(text, "fault", field.value);
        text += "</missingSet>";
    }
}

void AppendChange(std::string &text, const simulator::PropertyChange &change) {
    text += "<changeSet><name>";
    AppendEscaped(text, change.path);
    text += "</name><op>" + change.op + "</op>";
    AppendElement(text, "val", change.value, true);
    text += "</changeSet>";
}

} // namespace

bool IsDenied(const Service &service, const Object &object, std::string_view path) {
    return FindDenial(service, object, path) != nullptr;
}

Properties PropertiesOf(const Service &service, const Object &object, const PropertyRow &row,
                        const SessionPtr &session) {
    std::vector<std::string> paths = row.paths;
    if (row.all) {
        paths.clear();
        for (const Field &field : object.properties)
            paths.push_back(field.name);
    }
    Properties found;
    for (const std::string &path : paths) {
        if (const auto *denial = FindDenial(service, object, path)) {
            found.denied.push_back(
                {path, WrappedFault(denial->faultType, "The property may not be read.")});
            continue;
        }
        const Value value =
            Resolve(service.Read(object, FirstName(path), session), BehindFirst(path));
        if (value)
            found.values.push_back({path, value});
    }
    return found;
}

std::string ContentText(const Object &object, const Properties &properties) {
    std::string text;
    AppendReference(text, object);
    for (const Field &field : properties.values) {
        text += "<propSet><name>";
        AppendEscaped(text, field.name);
        text += "</name>";
        AppendElement(text, "val", field.value, true);
        text += "</propSet>";
    }
    AppendMissing(text, properties.denied);
    return text;
}

std::string EnterText(const Object &object, const Properties &properties) {
    std::string text = "<objectSet><kind>enter</kind>";
    AppendReference(text, object);
    for (const Field &field : properties.values)
        AppendChange(text, {"assign", field.name, field.value});
    AppendMissing(text, properties.denied);
    return text + "</objectSet>";
}

std::string ModifyText(const Object &object,
                       const std::vector<simulator::PropertyChange> &changes) {
    std::string text = "<objectSet><kind>modify</kind>";
    AppendReference(text, object);
    for (const auto &change : changes)
        AppendChange(text, change);
    return text + "</objectSet>";
}

std::string LeaveText(const Value &reference) {
    std::string text = "<objectSet><kind>leave</kind>";
    AppendElement(text, "obj", reference);
    return text + "</objectSet>";
}

std::string MissingObjectText(const Value &reference) {
    std::string text = "<missingSet>";
    AppendElement(text, "obj", reference);
    AppendElement(text, "fault",
                  WrappedFault("ManagedObjectNotFound", "The object has been deleted or never was.",
                               {{"obj", reference}}));
    return text + "</missingSet>";
}

void AppendRowDifference(const PropertyRow &row, const std::string &property, const Value &before,
                         const Value &after, bool inParts,
                         std::vector<simulator::PropertyChange> &changes) {
    if (row.all)
        return AppendDifference(before, after, property, inParts, changes);
    for (const std::string &path : row.paths)
        if (FirstName(path) == property)
            AppendDifference(Resolve(before, BehindFirst(path)), Resolve(after, BehindFirst(path)),
                             path, inParts, changes);
}

} // namespace simulator
