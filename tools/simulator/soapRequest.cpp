#include "tools/simulator/soapRequest.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <memory>
#include <span>

#include <fmt/format.h>
#include <libxml/parser.h>
#include <libxml/tree.h>

#include "lib/misc/glibPtr.h"

namespace simulator {

namespace {

constexpr char kSoapNamespace[] = "http://schemas.xmlsoap.org/soap/envelope/";
constexpr char kInstanceNamespace[] = "http://www.w3.org/2001/XMLSchema-instance";

std::string String(const xmlChar *text) {
    return text == nullptr ? std::string() : reinterpret_cast<const char *>(text);
}

std::string TakeString(xmlChar *text) {
    return String(XmlTextPtr(text).get());
}

const xmlNode *FirstElement(const xmlNode *node) {
    while (node != nullptr && node->type != XML_ELEMENT_NODE)
        node = node->next;
    return node;
}

bool IsSoap(const xmlNode *node, std::string_view name) {
    return node != nullptr && String(node->name) == name && node->ns != nullptr &&
           String(node->ns->href) == kSoapNamespace;
}

Element Copy(const xmlNode *node) {
    Element element;
    element.name = String(node->name);
    for (const xmlAttr *attribute = node->properties; attribute != nullptr;
         attribute = attribute->next) {
        if (String(attribute->name) != "type")
            continue;
        std::string value = TakeString(xmlNodeListGetString(node->doc, attribute->children, 1));
        if (attribute->ns == nullptr)
            element.type = std::move(value);
        else if (String(attribute->ns->href) == kInstanceNamespace)
            element.xsiType = std::move(value);
    }
    for (const xmlNode *child = node->children; child != nullptr; child = child->next) {
        if (child->type == XML_ELEMENT_NODE)
            element.children.push_back(Copy(child));
        else if (child->type == XML_TEXT_NODE || child->type == XML_CDATA_SECTION_NODE)
            element.text += String(child->content);
    }
    return element;
}

const Element *FindTyped(const Element &parent, std::string_view name, bool required,
                         std::span<const std::string_view> types) {
    const Element *element = parent.Child(name);
    if (element == nullptr) {
        if (required)
            throw InvalidArgument(std::string(name), fmt::format("\"{}\" is missing.", name));
        return nullptr;
    }
    if (!element->xsiType.empty() && std::ranges::find(types, element->xsiType) == types.end())
        throw InvalidArgument(std::string(name),
                              fmt::format("\"{}\" has the type \"{}\".", name, element->xsiType));
    return element;
}

std::string_view Trimmed(std::string_view text) {
    const size_t first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

bool ToTruth(const Element &element) {
    const std::string_view text = Trimmed(element.text);
    if (text == "true" || text == "1")
        return true;
    if (text == "false" || text == "0")
        return false;
    throw InvalidArgument(element.name, fmt::format("\"{}\" is no truth value.", text));
}

int ToInt(const Element &element) {
    const std::string_view text = Trimmed(element.text);
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (text.empty() || error != std::errc() || end != text.data() + text.size())
        throw InvalidArgument(element.name, fmt::format("\"{}\" is no number.", text));
    return number;
}

constexpr std::string_view kText[] = {"xsd:string", "xsd:anyURI"};
constexpr std::string_view kTruth[] = {"xsd:boolean"};
constexpr std::string_view kInt[] = {"xsd:int", "xsd:short", "xsd:byte", "xsd:long"};
constexpr std::string_view kReference[] = {"ManagedObjectReference"};

/* Returns the word after "ArrayOf" for a list of such items. */
std::string ItemWord(const Value &item) {
    if (item->kind == ValueKind::Reference)
        return "ManagedObjectReference";
    if (!item->type.starts_with("xsd:"))
        return item->type;
    std::string word = item->type.substr(4);
    if (!word.empty())
        word[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(word[0])));
    return word;
}

/* Checks the envelope and returns the node of the call. */
const xmlNode *FindCall(const xmlDoc *document) {
    const xmlNode *envelope = xmlDocGetRootElement(document);
    if (!IsSoap(envelope, "Envelope"))
        throw InvalidRequest("The request is no SOAP envelope.");
    const xmlNode *body = FirstElement(envelope->children);
    if (IsSoap(body, "Header"))
        body = FirstElement(body->next);
    if (!IsSoap(body, "Body"))
        throw InvalidRequest("The envelope has no body.");
    const xmlNode *call = FirstElement(body->children);
    if (call == nullptr)
        throw InvalidRequest("The body is empty.");
    return call;
}

} // namespace

Fault InvalidArgument(const std::string &argument, const std::string &message) {
    return Fault("InvalidArgument", message, {{"invalidProperty", Text(argument)}});
}

Fault InvalidRequest(const std::string &message) {
    return Fault("InvalidRequest", message);
}

Fault ObjectNotFound(const std::string &type, const std::string &id) {
    return Fault("ManagedObjectNotFound",
                 fmt::format("The object '{}:{}' has been deleted or never was.", type, id),
                 {{"obj", Reference(type, id)}});
}

const Element *Element::Child(std::string_view childName) const {
    const auto at = std::ranges::find(children, childName, &Element::name);
    return at == children.end() ? nullptr : &*at;
}

std::vector<const Element *> Element::Children(std::string_view childName) const {
    std::vector<const Element *> found;
    for (const Element &child : children)
        if (child.name == childName)
            found.push_back(&child);
    return found;
}

Request ParseRequest(std::string_view text) {
    if (text.size() > INT32_MAX)
        throw InvalidRequest("The request is too large.");
    const std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)> document(
        xmlReadMemory(text.data(), static_cast<int>(text.size()), "request.xml", nullptr,
                      XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING),
        xmlFreeDoc);
    if (!document)
        throw InvalidRequest("The request is not well-formed XML.");
    if (document->intSubset != nullptr)
        throw InvalidRequest("The request has a document type.");

    const xmlNode *node = FindCall(document.get());
    Request request;
    request.method = String(node->name);
    request.nameSpace = node->ns == nullptr ? std::string() : String(node->ns->href);
    if (!request.nameSpace.starts_with("urn:"))
        throw InvalidRequest("The call has no namespace of a service.");
    request.nameSpace.erase(0, 4);
    request.call = Copy(node);

    const Element *target = request.call.Child("_this");
    if (target == nullptr || target->type.empty() || target->text.empty())
        throw InvalidRequest("The call names no object.");
    request.targetType = target->type;
    request.targetId = target->text;
    return request;
}

std::string ReadText(const Element &parent, std::string_view name) {
    return FindTyped(parent, name, true, kText)->text;
}

std::string OptionalText(const Element &parent, std::string_view name,
                         const std::string &otherwise) {
    const Element *element = FindTyped(parent, name, false, kText);
    return element == nullptr ? otherwise : element->text;
}

bool ReadTruth(const Element &parent, std::string_view name) {
    return ToTruth(*FindTyped(parent, name, true, kTruth));
}

bool OptionalTruth(const Element &parent, std::string_view name, bool otherwise) {
    const Element *element = FindTyped(parent, name, false, kTruth);
    return element == nullptr ? otherwise : ToTruth(*element);
}

int ReadInt(const Element &parent, std::string_view name) {
    return ToInt(*FindTyped(parent, name, true, kInt));
}

int OptionalInt(const Element &parent, std::string_view name, int otherwise) {
    const Element *element = FindTyped(parent, name, false, kInt);
    return element == nullptr ? otherwise : ToInt(*element);
}

std::vector<std::string> ReadTexts(const Element &parent, std::string_view name) {
    FindTyped(parent, name, false, kText);
    std::vector<std::string> texts;
    for (const Element *element : parent.Children(name))
        texts.push_back(element->text);
    return texts;
}

const Element &ReadElement(const Element &parent, std::string_view name) {
    const Element *element = parent.Child(name);
    if (element == nullptr)
        throw InvalidArgument(std::string(name), fmt::format("\"{}\" is missing.", name));
    return *element;
}

const Element &ReadReference(const Element &parent, std::string_view name) {
    ReadElement(parent, name);
    return *OptionalReference(parent, name);
}

const Element *OptionalReference(const Element &parent, std::string_view name) {
    const Element *element = FindTyped(parent, name, false, kReference);
    if (element != nullptr && (element->type.empty() || element->text.empty()))
        throw InvalidArgument(std::string(name), fmt::format("\"{}\" is no reference.", name));
    return element;
}

Value ToValue(const Element &element) {
    if (!element.type.empty())
        return Reference(element.type, element.text);
    const bool isStructure = !element.children.empty() || (Trimmed(element.text).empty() &&
                                                           !element.xsiType.starts_with("xsd:"));
    if (!isStructure)
        return Enum(element.xsiType.empty() ? "xsd:string" : element.xsiType, element.text);

    std::vector<Field> fields;
    for (const Element &child : element.children) {
        const auto at = std::ranges::find(fields, child.name, &Field::name);
        const Value value = ToValue(child);
        if (at == fields.end())
            fields.push_back({child.name, value});
        else if (at->value->kind == ValueKind::List)
            at->value = WithItem(at->value, value);
        else
            at->value = List(ItemWord(value), {at->value, value});
    }
    return Structure(element.xsiType, std::move(fields));
}

} // namespace simulator
