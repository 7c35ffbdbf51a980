/*
 * jsonWrite.h -- writes values of the schema's types as JSON
 *
 * The rows of jsonKinds.cpp write what is one text, number or truth value; the writer goes down into all others.
 *
 * Errors:  the first problem is set as the error, with its place; the functions then return false.
 * Threads: those of the objects.
 */
#pragma once

#include <string>
#include <string_view>

#include <orvane/json.h>
#include <orvane/schema/qorm.h>

#include "ozy/lib/orvaneJson/jsonClass.h"

class ValueWriter {
public:
    ValueWriter(OrvaneJsonFlags itsFlags, GError **itsError);

    /* A value whose type the place says, except where its class is another one. */
    bool WriteValue(const ValuePath &path, const GValue *value, const JsonPlace &place);
    /* A value of a place that can hold any. */
    bool WriteAny(const ValuePath &path, const GValue *value);
    bool WriteArray(const ValuePath &path, const GValueArray *array, GType elementType);
    bool WriteReference(const ValuePath &path, const SkemaQormManagedObject *proxy);
    bool WriteObject(const ValuePath &path, GObject *object, GType declared);
    /* A managed object with what was loaded of it. */
    bool WriteProxy(const ValuePath &path, SkemaQormManagedObject *proxy);
    bool WriteText(const ValuePath &path, const char *text);

    /* Sets the error and returns false. */
    bool Fail(const ValuePath &path, const std::string &what);

    std::string out;

private:
    bool WriteProperties(const ValuePath &path, const JsonClass *klass, GObject *object,
                         bool isFirst);
    bool WriteElement(const ValuePath &path, const GValue *value, const JsonPlace &place);
    void WriteEscape(gunichar c);
    void WriteMember(std::string_view key, std::string_view word, bool isFirst);
    bool MayNest(const ValuePath &path);

    void Open(char bracket);
    void Close(char bracket, bool isEmpty);
    void Separate(bool isFirst);
    void NewLine();
    void Space();

    OrvaneJsonFlags flags;
    GError **error;
    guint level = 0;
};
