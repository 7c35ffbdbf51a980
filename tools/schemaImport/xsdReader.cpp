#include "tools/schemaImport/xsdReader.h"

#include <deque>
#include <map>
#include <set>

#include <glib.h>

#include "tools/schemaImport/xmlDocument.h"

namespace schemaImport {

std::string PlaceText(const Place &place) {
    return place.line == 0 ? place.document : place.document + ":" + std::to_string(place.line);
}

namespace {

constexpr int kMaxDepth = 32; /* of sequences in sequences */

/* A node, and the name of its document. */
struct Part {
    xmlNode *node = nullptr;
    std::string document;
};

/* Elements of a group are optional, or arrays, if the group is. */
struct Occurrence {
    bool isOptional = false;
    bool isArray = false;
    bool isNone = false;
};

struct Reader {
    DocumentSource &source;
    Notes *notes;
    XsdSchema schema = {};
    std::vector<XmlDocPtr> trees = {}; /* the parts point into them */
    std::deque<DocumentRef> queue = {};
    std::set<std::string> seen = {}; /* keys */
    size_t numBytes = 0;

    std::vector<Part> types = {};
    std::map<std::string, Part> elements = {}; /* global ones, by local name */
    std::map<std::string, Part> messages = {};
    std::vector<Part> portTypes = {};

    void AddNote(const Part &at, const std::string &text) {
        notes->push_back({{at.document, static_cast<int>(xmlGetLineNo(at.node))}, text});
    }
    Place place(const Part &at) { return {at.document, static_cast<int>(xmlGetLineNo(at.node))}; }
};

std::string Quoted(const std::string &name) {
    return "'" + name + "'";
}

bool IsAnnotation(const xmlNode *node) {
    return IsXsd(node, "annotation");
}

/* ---- documents ---- */

void Enqueue(Reader *reader, const DocumentRef &document) {
    if (reader->seen.insert(document.key).second)
        reader->queue.push_back(document);
}

/* Adds a document that another one refers to. An import without a location means a schema in the same document. */
void Follow(Reader *reader, const DocumentRef &from, xmlNode *node, const char *attribute) {
    if (!HasAttribute(node, attribute))
        return;
    const std::string location = Attribute(node, attribute);
    DocumentRef found;
    std::string why;
    if (reader->source.Resolve(from, location, &found, &why))
        Enqueue(reader, found);
    else
        reader->AddNote({node, from.name}, Quoted(location) + " " + why);
}

void CollectSchema(Reader *reader, const DocumentRef &document, xmlNode *schema) {
    for (xmlNode *node : Children(schema)) {
        const Part part{node, document.name};
        if (IsXsd(node, "include") || IsXsd(node, "import"))
            Follow(reader, document, node, "schemaLocation");
        else if (IsXsd(node, "complexType") || IsXsd(node, "simpleType"))
            reader->types.push_back(part);
        else if (IsXsd(node, "element"))
            reader->elements.emplace(Attribute(node, "name"), part);
        else if (!IsAnnotation(node))
            reader->AddNote(part, "unknown construct " + Quoted(ElementText(node)));
    }
}

void CollectDefinitions(Reader *reader, const DocumentRef &document, xmlNode *definitions) {
    for (xmlNode *node : Children(definitions)) {
        const Part part{node, document.name};
        if (IsElement(node, kWsdlNamespace, "import")) {
            Follow(reader, document, node, "location");
        } else if (IsElement(node, kWsdlNamespace, "types")) {
            for (xmlNode *schema : Children(node)) {
                if (IsXsd(schema, "schema"))
                    CollectSchema(reader, document, schema);
            }
        } else if (IsElement(node, kWsdlNamespace, "message")) {
            reader->messages.emplace(Attribute(node, "name"), part);
        } else if (IsElement(node, kWsdlNamespace, "portType")) {
            reader->portTypes.push_back(part);
        }
        // bindings and services describe how to reach the service, and are not used
    }
}

void CollectDocument(Reader *reader, const DocumentRef &document) {
    const auto fail = [&](int line, const std::string &why) {
        reader->notes->push_back({{document.name, line}, why});
    };
    std::string bytes;
    std::string why;
    if (!reader->source.Read(document, &bytes, &why))
        return fail(0, "cannot be read: " + why);
    reader->numBytes += bytes.size();
    if (reader->trees.size() == kMaxDocuments || reader->numBytes > kMaxBytes)
        return fail(0, "not read: the documents are too many or too large");

    int line = 0;
    XmlDocPtr tree = ParseXml(bytes, &line, &why);
    if (tree == nullptr)
        return fail(line, why);
    xmlNode *root = xmlDocGetRootElement(tree.get());
    if (IsXsd(root, "schema"))
        CollectSchema(reader, document, root);
    else if (IsElement(root, kWsdlNamespace, "definitions"))
        CollectDefinitions(reader, document, root);
    else
        return fail(static_cast<int>(xmlGetLineNo(root)),
                    "neither a schema nor a WSDL: " + Quoted(ElementText(root)));
    reader->trees.push_back(std::move(tree));
}

/* ---- elements of types ---- */

XsdName NameOf(xmlNode *node, const char *attribute) {
    const std::string name = Attribute(node, attribute);
    return {LocalName(name), NamespaceOf(node, name) == kXsdNamespace};
}

/* Returns an attribute that is a number; "unbounded" is greater than any. */
guint64 Occurs(Reader *reader, const Part &at, const char *attribute) {
    if (!HasAttribute(at.node, attribute))
        return 1;
    const std::string text = Attribute(at.node, attribute);
    guint64 number = 0;
    if (text == "unbounded")
        return G_MAXUINT64;
    if (g_ascii_string_to_unsigned(text.c_str(), 10, 0, G_MAXUINT32, &number, nullptr))
        return number;
    reader->AddNote(at, std::string(attribute) + " " + Quoted(text) + " is no number");
    return 1;
}

Occurrence OccurrenceOf(Reader *reader, const Part &at, const Occurrence &outer) {
    const guint64 most = Occurs(reader, at, "maxOccurs");
    return {outer.isOptional || Occurs(reader, at, "minOccurs") == 0, outer.isArray || most > 1,
            outer.isNone || most == 0};
}

/* Returns the base of a simple type inside an element; empty if it has another form. */
XsdName InnerSimpleType(xmlNode *element) {
    for (xmlNode *child : Children(element)) {
        if (!IsXsd(child, "simpleType"))
            continue;
        for (xmlNode *restriction : Children(child)) {
            if (IsXsd(restriction, "restriction"))
                return NameOf(restriction, "base");
        }
    }
    return {};
}

/* Returns the type of an element that is no reference; without one it is anyType. */
XsdName ElementType(xmlNode *element) {
    if (HasAttribute(element, "type"))
        return NameOf(element, "type");
    for (xmlNode *child : Children(element)) {
        if (!IsAnnotation(child))
            return InnerSimpleType(element);
    }
    return {"anyType", true};
}

void ReadElement(Reader *reader, const Part &at, const Occurrence &outer, XsdType *type) {
    const Occurrence occurrence = OccurrenceOf(reader, at, outer);
    if (occurrence.isNone)
        return;
    xmlNode *element = at.node;
    if (HasAttribute(element, "ref")) {
        const auto found = reader->elements.find(NameOf(element, "ref").local);
        if (found == reader->elements.end()) {
            reader->AddNote(at, "unknown element " + Quoted(Attribute(element, "ref")));
            type->isIncomplete = true;
            return;
        }
        element = found->second.node;
    }

    XsdField field;
    field.place = reader->place(at);
    field.name = Attribute(element, "name");
    field.type = ElementType(element);
    field.isOptional = occurrence.isOptional;
    field.isArray = occurrence.isArray;
    if (field.type.local.empty()) {
        reader->AddNote(at, "element " + Quoted(field.name) + " of " + Quoted(type->name) +
                                " has a type without a name");
        type->isIncomplete = true;
        return;
    }
    type->fields.push_back(std::move(field));
}

void NoteUnknown(Reader *reader, const Part &at, XsdType *type) {
    reader->AddNote(at, "unknown construct " + Quoted(ElementText(at.node)) + " in " +
                            Quoted(type->name));
    type->isIncomplete = true;
}

/* Reads the members of a sequence or of "all". */
void ReadGroup(Reader *reader, const Part &at, const Occurrence &outer, int depth, XsdType *type) {
    const Occurrence occurrence = OccurrenceOf(reader, at, outer);
    for (xmlNode *node : Children(at.node)) {
        const Part part{node, at.document};
        if (IsXsd(node, "element"))
            ReadElement(reader, part, occurrence, type);
        else if (IsXsd(node, "sequence") && depth < kMaxDepth)
            ReadGroup(reader, part, occurrence, depth + 1, type);
        else if (!IsAnnotation(node))
            NoteUnknown(reader, part, type);
    }
}

/* Reads the content of a complexType or an extension. */
void ReadContent(Reader *reader, const Part &at, XsdType *type) {
    for (xmlNode *node : Children(at.node)) {
        const Part part{node, at.document};
        if (IsXsd(node, "sequence") || IsXsd(node, "all"))
            ReadGroup(reader, part, {}, 0, type);
        else if (!IsAnnotation(node))
            NoteUnknown(reader, part, type);
    }
}

/* ---- types ---- */

void ReadComplexType(Reader *reader, const Part &at, XsdType *type) {
    std::vector<xmlNode *> children = Children(at.node);
    std::erase_if(children, IsAnnotation);
    if (children.size() != 1 || !IsXsd(children[0], "complexContent"))
        return ReadContent(reader, at, type);
    for (xmlNode *node : Children(children[0])) {
        const Part part{node, at.document};
        if (IsXsd(node, "extension")) {
            type->base = NameOf(node, "base");
            ReadContent(reader, part, type);
        } else if (!IsAnnotation(node)) {
            NoteUnknown(reader, part, type);
        }
    }
}

/* Facets that restrict a value are ignored: the tables do not have them. */
void ReadSimpleType(Reader *reader, const Part &at, XsdType *type) {
    type->isSimple = true;
    for (xmlNode *node : Children(at.node)) {
        const Part part{node, at.document};
        if (!IsXsd(node, "restriction")) {
            if (!IsAnnotation(node))
                NoteUnknown(reader, part, type);
            continue;
        }
        type->base = NameOf(node, "base");
        for (xmlNode *facet : Children(node)) {
            if (IsXsd(facet, "enumeration"))
                type->words.push_back(
                    {reader->place({facet, at.document}), Attribute(facet, "value")});
        }
    }
}

XsdType ReadType(Reader *reader, const Part &at, const std::string &name) {
    XsdType type;
    type.place = reader->place(at);
    type.name = name;
    if (IsXsd(at.node, "simpleType"))
        ReadSimpleType(reader, at, &type);
    else
        ReadComplexType(reader, at, &type);
    return type;
}

void ReadTypes(Reader *reader) {
    std::map<std::string, Place> first;
    for (const Part &part : reader->types) {
        const std::string name = Attribute(part.node, "name");
        if (name ==
            "ManagedObjectReference") // the form of references in XML, which is not described
            continue;
        const auto [found, isNew] = first.emplace(name, reader->place(part));
        if (isNew)
            reader->schema.types.push_back(ReadType(reader, part, name));
        else
            reader->AddNote(part, "type " + Quoted(name) + " is already defined at " +
                                      PlaceText(found->second));
    }
}

/* ---- operations ---- */

const XsdType *FindType(const Reader &reader, const std::string &name) {
    for (const XsdType &type : reader.schema.types) {
        if (type.name == name)
            return &type;
    }
    return nullptr;
}

/* Finds the content of a global element, whose type has a name or is inside it; returns false if there is none. */
bool ElementContent(Reader *reader, const std::string &name, XsdType *content) {
    const auto found = reader->elements.find(name);
    if (found == reader->elements.end())
        return false;
    const Part &element = found->second;
    if (HasAttribute(element.node, "type")) {
        const XsdType *type = FindType(*reader, NameOf(element.node, "type").local);
        if (type != nullptr)
            *content = *type;
        return type != nullptr;
    }
    for (xmlNode *child : Children(element.node)) {
        if (IsXsd(child, "complexType")) {
            *content = ReadType(reader, {child, element.document}, name);
            content->name.clear(); // not to be taken for a type of that name
            return true;
        }
    }
    return false;
}

/* Reads the elements of the input or the output of an operation. */
bool MessageContent(Reader *reader, xmlNode *operation, const char *direction, XsdType *content) {
    for (xmlNode *node : Children(operation)) {
        if (!IsElement(node, kWsdlNamespace, direction))
            continue;
        const auto found = reader->messages.find(LocalName(Attribute(node, "message")));
        if (found == reader->messages.end())
            return false;
        for (xmlNode *part : Children(found->second.node)) {
            if (HasAttribute(part, "element"))
                return ElementContent(reader, LocalName(Attribute(part, "element")), content);
        }
    }
    return false;
}

void ReadOperation(Reader *reader, const Part &at, std::set<std::string> *requests) {
    XsdOperation operation;
    operation.place = reader->place(at);
    operation.name = Attribute(at.node, "name");
    XsdType request;
    if (!MessageContent(reader, at.node, "input", &request)) {
        reader->AddNote(at,
                        "the request of operation " + Quoted(operation.name) + " is not described");
        return;
    }
    if (!request.name.empty())
        requests->insert(request.name);
    XsdType response;
    const bool hasResponse = MessageContent(reader, at.node, "output", &response);
    operation.isIncomplete = request.isIncomplete;
    operation.arguments = std::move(request.fields);
    if (hasResponse)
        operation.results = std::move(response.fields);
    reader->schema.operations.push_back(std::move(operation));
}

void ReadOperations(Reader *reader, std::set<std::string> *requests) {
    for (const Part &portType : reader->portTypes) {
        for (xmlNode *node : Children(portType.node)) {
            if (IsElement(node, kWsdlNamespace, "operation"))
                ReadOperation(reader, {node, portType.document}, requests);
        }
    }
}

constexpr std::string_view kRequestSuffix = "RequestType";

bool IsRequestType(const XsdType &type) {
    return type.name.size() > kRequestSuffix.size() && type.name.ends_with(kRequestSuffix) &&
           !type.fields.empty() && type.fields[0].name == "_this";
}

/* Types of requests are no data objects. Those without an operation are found by their name. */
void SplitRequests(Reader *reader, const std::set<std::string> &requests) {
    for (const XsdType &type : reader->schema.types) {
        if (requests.contains(type.name) || !IsRequestType(type))
            continue;
        XsdOperation operation;
        operation.place = type.place;
        operation.name = type.name.substr(0, type.name.size() - kRequestSuffix.size());
        operation.arguments = type.fields;
        operation.isIncomplete = type.isIncomplete;
        operation.isGuess = true;
        reader->schema.operations.push_back(std::move(operation));
    }
    std::erase_if(reader->schema.types, [&](const XsdType &type) {
        return requests.contains(type.name) || IsRequestType(type);
    });
}

} // namespace

XsdSchema ReadDocuments(DocumentSource &source, const std::vector<DocumentRef> &documents,
                        Notes *notes) {
    Reader reader{source, notes};
    for (const DocumentRef &document : documents)
        Enqueue(&reader, document);
    while (!reader.queue.empty()) {
        const DocumentRef document = reader.queue.front();
        reader.queue.pop_front();
        CollectDocument(&reader, document);
    }
    ReadTypes(&reader);
    std::set<std::string> requests;
    ReadOperations(&reader, &requests);
    SplitRequests(&reader, requests);
    return std::move(reader.schema);
}

} // namespace schemaImport
