/**
 *  @file
 *    The names of properties and their values, in both of their forms.
 *
 *  zq::NetworkManager::k* are the CoreFoundation strings with which
 *  applications read and compare the objects of the model; zq::ConnMan::k* are
 *  the C strings on the wire and in provisioning files. A name that is in both
 *  namespaces has the same text in both.
 *
 *  The constants live until the process ends and are never released. They may
 *  be used as keys and values in any container. Two names may have equal texts
 *  (kIPPropertyAddress and kEthernetPropertyAddress): compare by content.
 *
 *  The CoreFoundation strings are null until this library's static
 *  initialiser has run: do not use them from a static initialiser of another
 *  library that may run before it.
 *
 *  The LoWPAN technology has no display name on the manager's side: it is
 *  recognised by its type, kTechnologyTypeLoWPAN. The Ethernet technology's
 *  name is "Wired".
 */

#ifndef ZQNETWORKMANAGER_VOCABULARY_H
#define ZQNETWORKMANAGER_VOCABULARY_H

#include <CoreFoundation.h>
#include <zqexport.h>

namespace zq::NetworkManager
{

#define ZQ_BOTH(aName, aText) extern ZQ_EXPORT CFStringRef aName;
#define ZQ_MANAGER_ONLY(aName, aText) extern ZQ_EXPORT CFStringRef aName;
#define ZQ_CLIENT_ONLY(aName, aText)
#include <zqnetworkmanager-vocabulary.def>

} // namespace zq::NetworkManager

namespace zq::ConnMan
{

#define ZQ_BOTH(aName, aText) extern ZQ_EXPORT const char *aName;
#define ZQ_MANAGER_ONLY(aName, aText)
#define ZQ_CLIENT_ONLY(aName, aText) extern ZQ_EXPORT const char *aName;
#include <zqnetworkmanager-vocabulary.def>

} // namespace zq::ConnMan

#endif // ZQNETWORKMANAGER_VOCABULARY_H
