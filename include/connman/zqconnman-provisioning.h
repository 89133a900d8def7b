/**
 *  @file
 *    The provisioning file of zqConnMan, /var/lib/connman/quil.config.
 *    Applications include zqconnman.h.
 *
 *  Values are CFString, but that of kProvisionPropertyExtendedPANID is a 64-bit
 *  CFNumber. kProvisionPropertyProvisionIdentifier is the name of a record's
 *  group whatever a line of the group says.
 *
 *  Reading: escapes of the key-file format are decoded, but not in a text that
 *  would have a line break or another control character then: that is had as it
 *  is written. A file that is missing is an empty set. Of a damaged file the
 *  records before the damage are had, with a log line.
 *
 *  Writing takes a lock that excludes every other writer, in this process and in
 *  others. An equal file is not written; otherwise it is replaced in one step,
 *  so that it is wholly the old or wholly the new one whatever happens. Either
 *  way only its owner can read it afterwards.
 *
 *  Values are written as they are. Not read back as they are, which
 *  CheckProvision tells, are an identifier that does not begin with "service_",
 *  a value that begins with white space, and one with a backslash that the
 *  format decodes: "\s" is a blank. (A backslash and "n", "r" or "t" are read
 *  back as such.) An extended PAN ID may also be a string of its decimal digits.
 *
 *  Results:
 *
 *    -  0   Read; or the file holds these records.
 *    - -1   The file could not be read, or not be written: the old one is in place.
 *    - -5   Null, or what would spoil the file (logged): a NUL or a line break,
 *           an identifier that is empty or has a bracket or a control character,
 *           a name that is empty, has a bracket or "=", or begins or ends with
 *           white space, a value of another type than told. The old file is in
 *           place.
 *    - -7   It could not be opened, because this process or the system has no
 *           more descriptors; or memory is exhausted.
 *    - -16  Other writers held the file for the time-out (logged); nothing else
 *           tells of having waited. The old file is in place.
 *    - -19  This process may not read it.
 */

#ifndef ZQCONNMAN_PROVISIONING_H
#define ZQCONNMAN_PROVISIONING_H

#include <CFUtilities.h>
#include <zqerror.h>

#include <functional>

namespace zq::ConnMan
{

/**
 *  Says what is to be stored, from what is. Called with the file held.
 *
 *  The identifiers are not among the properties, in either set.
 *
 *  @param[in]   aStored      As zqConnMan::GetProvisions yields it; may be retained.
 *  @param[in]   anIsWhole    False: the file is damaged, and has more than could be read.
 *  @param[out]  aProvisions  As zqConnMan::UpdateProvisions takes it; its records may be those of @a aStored.
 *  @returns 0; any other code: nothing is written.
 */
using ProvisionsMerge =
    std::function<zqError(CFDictionaryRef aStored, bool anIsWhole, CFUSharedRef<CFDictionaryRef> &aProvisions)>;

} // namespace zq::ConnMan

#endif // ZQCONNMAN_PROVISIONING_H
