/*
 * orvaneUpdateIndex.h -- indexes of the keys of lists, while the changes of one reply are applied
 *
 *   remove list["a"];  list["b"].name = "x";  ...      as many changes as the list has elements
 *
 * A search for one key looks at the elements one after the other. If a reply names more than a few keys of a long list, the
 * list gets an index. It follows the list: changes in place are noted by those who make them; a store of the whole list ends
 * it; a store of the property "key" of an element gives the element its new key. Handlers may do any of these.
 *
 * The place of an element that is removed from such a list stays, empty, until there are many of them or somebody reads the
 * list; so what is behind each element is not moved each time. Positions here count the empty places.
 *
 * Only lists that a class of the schema keeps itself, and whose elements are texts, numbers or objects of classes of the
 * schema, have indexes. The keys of other objects may change unnoticed.
 *
 *   const UpdateIndexScope scope;        // around the changes of a reply; scopes may nest
 *   ...
 *   if (const UpdateKeys *keys = OrvaneUpdateIndex_Search(object, field, array)) ...
 *
 * Ownership: the outermost scope owns the indexes. They hold no reference to an object.
 * Errors:    none; without an index the caller walks.
 * Threads:   the loop's.
 */
#pragma once

#include "ozy/lib/orvane/schema/schemaEngine.h"
#include "ozy/lib/orvane/updates/orvaneUpdateKeys.h"

class UpdateIndexScope {
public:
    UpdateIndexScope();
    ~UpdateIndexScope();
    UpdateIndexScope(const UpdateIndexScope &) = delete;
    UpdateIndexScope &operator=(const UpdateIndexScope &) = delete;
};

/*
 * The keys of the list in a field, which are its texts, its numbers or the property "key" of its objects. NULL if the list
 * has no index: outside of a scope, for the first few searches, and where an index is not possible. The pointer is valid
 * until a property is set.
 */
const UpdateKeys *OrvaneUpdateIndex_Search(GObject *object, const SchemaField *field,
                                           const GValueArray *array);

/* An element was appended to the list in place. */
void OrvaneUpdateIndex_NoteAdded(GObject *object, const SchemaField *field,
                                 const GValueArray *array);
/* Removes an element from a list that can be changed in place. Its end may run code of the application. */
void OrvaneUpdateIndex_Remove(GObject *object, const SchemaField *field, guint position);
/* Position of the first element of a list that is not empty. */
guint OrvaneUpdateIndex_First(GObject *object, const SchemaField *field);

/* Whether reading the key of an element runs no code of the application. */
bool OrvaneUpdateIndex_IsPlain(const GValue *element);
/* The key of an element. It is empty if the element has none. */
std::optional<UpdateKey> OrvaneUpdateIndex_KeyOf(const GValue *element);
