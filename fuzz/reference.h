/**
 *  @file
 *    What decoding a message has to yield, found in another way: by recursion
 *    over its arguments, where the walkers are handed one element after the
 *    other and keep a stack.
 */

#ifndef ZQ_FUZZ_REFERENCE_H
#define ZQ_FUZZ_REFERENCE_H

#include <CFUtilities.h>

#include <dbus/dbus.h>

/** What becomes of an array or a structure. */
enum class Fate
{
    kRefused,
    kSkipped, ///< and its name with it
    kFlat,    ///< its members belong to what is around it
    kList,
    kDictionary
};

/** How a walker of the same name reads. */
struct Rules
{
    const char *mBasics; ///< the types that are taken besides; null: all, and keys become texts

    /**
     *  @param[in]  aDepth  The number of containers around.
     *  @param[in]  aType   DBUS_TYPE_STRUCT, DBUS_TYPE_DICT_ENTRY for an array of such, DBUS_TYPE_ARRAY for another.
     *  @param[in]  aName   Its key in the dictionary around it, or null.
     */
    Fate (*mDecide)(int aDepth, int aType, CFTypeRef aName);
};

extern const Rules kProperties;
extern const Rules kPropertiesNoPaths;
extern const Rules kObjects;
extern const Rules kTechnologyProperties;
extern const Rules kServiceProperties;
extern const Rules kServiceObjects;
extern const Rules kAny;
extern const Rules kAnyObjects;

using Value = CFUSharedRef<CFTypeRef>;

/** The array at the iterator; null when it is refused. */
Value ReadArray(DBusMessageIter anIterator, const Rules &aRules);

/** All from the iterator on, as what is in a list or dictionary; null when it is refused. */
Value ReadMembers(DBusMessageIter anIterator, const Rules &aRules, Fate aFate, int aDepth);

#endif // ZQ_FUZZ_REFERENCE_H
