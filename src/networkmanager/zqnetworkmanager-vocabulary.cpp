#include <zqnetworkmanager-vocabulary.h>

namespace zq::NetworkManager
{

#define ZQ_BOTH(aName, aText) CFStringRef aName = __CFStringMakeConstantString(aText);
#define ZQ_MANAGER_ONLY(aName, aText) ZQ_BOTH(aName, aText)
#define ZQ_CLIENT_ONLY(aName, aText)
#include <zqnetworkmanager-vocabulary.def>

} // namespace zq::NetworkManager

namespace zq::ConnMan
{

#define ZQ_BOTH(aName, aText) const char *aName = aText;
#define ZQ_MANAGER_ONLY(aName, aText)
#define ZQ_CLIENT_ONLY(aName, aText) ZQ_BOTH(aName, aText)
#include <zqnetworkmanager-vocabulary.def>

} // namespace zq::ConnMan
