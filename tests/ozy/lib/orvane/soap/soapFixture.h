/*
 * soapFixture.h -- small verbs for the tests of the codec
 *
 *   const Element node("<val xsi:type='xsd:int'>5</val>");      a parsed element to read from
 *   EXPECT_EQ("<a xsi:type=\"xsd:int\">5</a>", Written("a", value, "ozy25/6.0"));
 */
#pragma once

#include <vector>

#include "ozy/lib/orvane/runtime/orvaneRuntime.h"
#include "ozy/lib/orvane/schema/schemaLookup.h"
#include "ozy/lib/orvane/soap/orvaneSoapInt.h"
#include "ozy/lib/orvane/soap/orvaneSoapTree.h"
#include "tests/ozy/lib/orvane/runtime/objects.h"
#include "tests/support/matchers.h"
#include "tests/support/paths.h"

/* A GValue that releases what it holds. */
struct Value {
    Value() = default;
    explicit Value(GType type) { g_value_init(&value, type); }
    Value(Value &&other) noexcept : value(other.value) { other.value = G_VALUE_INIT; }
    Value(const Value &) = delete;
    Value &operator=(const Value &) = delete;
    Value &operator=(Value &&other) noexcept {
        std::swap(value, other.value);
        return *this;
    }
    ~Value() { orvane_value_cond_unset(&value); }

    GValue *get() { return &value; }
    const GValue *get() const { return &value; }
    GType Type() const { return G_VALUE_TYPE(&value); }
    bool IsSet() const { return G_IS_VALUE(&value); }
    GObject *Object() const {
        return G_VALUE_HOLDS_OBJECT(&value) ? static_cast<GObject *>(g_value_get_object(&value))
                                            : nullptr;
    }
    GValueArray *Array() const {
        return G_VALUE_HOLDS(&value, G_TYPE_VALUE_ARRAY)
                   ? static_cast<GValueArray *>(g_value_get_boxed(&value))
                   : nullptr;
    }

private:
    GValue value = G_VALUE_INIT;
};

inline Value StringValue(const char *text) {
    Value value(G_TYPE_STRING);
    g_value_set_string(value.get(), text);
    return value;
}

inline Value IntValue(gint number) {
    Value value(G_TYPE_INT);
    g_value_set_int(value.get(), number);
    return value;
}

inline Value ObjectValue(gpointer object) {
    Value value(G_OBJECT_TYPE(object));
    g_value_set_object(value.get(), object);
    return value;
}
inline Value ObjectValue(const ObjectPtr<GObject> &object) {
    return ObjectValue(object.get());
}

/* An array of copies of the members. */
inline Value ArrayValue(const std::vector<const Value *> &members) {
    GValueArray *array = g_value_array_new(0);
    for (const Value *member : members)
        g_value_array_append(array, member->get());
    Value value(G_TYPE_VALUE_ARRAY);
    g_value_take_boxed(value.get(), array);
    return value;
}

inline Value AnyValue(const Value &held) {
    Value value(G_TYPE_VALUE);
    g_value_set_boxed(value.get(), held.get());
    return value;
}

/* Gathers what GLib warns of, in place of printing it, as long as it lives. */
struct Warnings {
    Warnings() : before(g_log_set_default_handler(Keep, this)) {}
    Warnings(const Warnings &) = delete;
    Warnings &operator=(const Warnings &) = delete;
    ~Warnings() { g_log_set_default_handler(before, nullptr); }

    std::vector<std::string> texts;
    std::function<void()> then = [] {}; /* after each */

private:
    static void Keep(const gchar *, GLogLevelFlags, const gchar *text, gpointer self) {
        static_cast<Warnings *>(self)->texts.emplace_back(text);
        static_cast<Warnings *>(self)->then();
    }
    GLogFunc before;
};

inline ObjectPtr<GObject> New(const char *wireName) {
    return NewObject(orvane_lookup_type(wireName));
}

/* A text as often as that. */
inline std::string Times(int count, const std::string &text) {
    std::string all;
    for (int i = 0; i < count; i++)
        all += text;
    return all;
}

/* So many objects, each the value of the one around it. */
inline Value NestedObjects(int levels) {
    Value value = IntValue(5);
    for (int i = 0; i < levels; i++) {
        const ObjectPtr<GObject> outer = New("DynamicProperty");
        g_object_set(outer.get(), "name", "n", nullptr);
        orvane_object_set_any(outer.get(), "val", value.get());
        value = ObjectValue(outer);
    }
    return value;
}

/* A class as an application would register one below a class of the schema, without a wire name. */
inline GType RegisterSubclass(GType base, const char *name, GClassInitFunc init = nullptr,
                              gsize instanceSize = 0) {
    GTypeQuery query;
    g_type_query(base, &query);
    return g_type_register_static_simple(base, name, query.class_size, init,
                                         instanceSize != 0 ? static_cast<guint>(instanceSize)
                                                           : query.instance_size,
                                         nullptr, static_cast<GTypeFlags>(0));
}

inline bool IsMarked(GObject *object, const char *property) {
    return g_object_get_data(object, (std::string("_") + property).c_str()) != nullptr;
}

/* The text of one element, for a service of that version; empty if nothing was written. */
inline std::string Written(const char *name, const GValue *value, const char *version,
                           bool *isWritten = nullptr) {
    const GStringPtr out(g_string_new(nullptr));
    SoapPlanCache plans;
    const bool result =
        OrvaneSoapWriteValue({out.get(), orvane_lookup_version(version)->mask, plans}, name, value);
    if (isWritten != nullptr)
        *isWritten = result;
    return out->str;
}

/* The first element in a text in which xsi, xsd and soapenv are known. */
struct Element {
    explicit Element(const std::string &text) {
        const std::string all = "<root xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance'"
                                " xmlns:xsd='http://www.w3.org/2001/XMLSchema'"
                                " xmlns:soapenv='http://schemas.xmlsoap.org/soap/envelope/'>" +
                                text + "</root>";
        doc.reset(OrvaneSoap_ParseDocument(all.data(), all.size(), "test", 0));
        node = doc != nullptr ? OrvaneSoapFirstElement(xmlDocGetRootElement(doc.get())) : nullptr;
    }
    operator xmlNode *() const { return node; }

private:
    XmlDocPtr doc;
    xmlNode *node;
};

/* What an element reads as; unset if it does not. */
inline Value ReadElement(const std::string &text, GType expected) {
    const Element element(text);
    Value value;
    if (!orvane_soap_deserialize_value(nullptr, element, expected, value.get()))
        orvane_value_cond_unset(value.get());
    return value;
}

inline std::string ReplyText(const std::string &file) {
    gchar *text = nullptr;
    gsize length = 0;
    const std::string path = SourcePath("tests/replies/" + file);
    EXPECT_TRUE(g_file_get_contents(path.c_str(), &text, &length, nullptr)) << path;
    const GPtr<char> owner(text);
    return std::string(text, length);
}

/* The first element of that name below the root, at any depth; NULL without one. */
inline xmlNode *FindElement(xmlNode *node, const char *name) {
    for (; node != nullptr; node = node->next) {
        if (OrvaneSoapIsElement(node, name))
            return node;
        if (xmlNode *found = FindElement(node->children, name))
            return found;
    }
    return nullptr;
}

struct ReplyShape {
    const char *method;
    GType type = 0;
    bool isArray = false;
};

/* Reads a whole reply as the session does. */
inline bool ReadReply(const std::string &text, const ReplyShape &shape, Value *value) {
    const SoapTreePtr tree(OrvaneSoapTree_Parse(text.data(), text.size(), "test", 0));
    xmlNode *body =
        tree != nullptr ? FindElement(OrvaneSoapTree_Root(tree.get()), "Body") : nullptr;
    return body != nullptr && orvane_soap_deserialize(nullptr, shape.method, body, shape.type,
                                                      shape.isArray, value->get());
}
