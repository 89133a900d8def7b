#include <zqnetworkmanager-vocabulary.h>

namespace zq
{

namespace NetworkManager
{

#define ZQ_BOTH(aName, aText) CFStringRef aName = __CFStringMakeConstantString(aText);
#define ZQ_MANAGER_ONLY(aName, aText) ZQ_BOTH(aName, aText)
#define ZQ_CLIENT_ONLY(aName, aText)
#include <zqnetworkmanager-vocabulary.def>
#undef ZQ_BOTH
#undef ZQ_MANAGER_ONLY
#undef ZQ_CLIENT_ONLY

} // namespace NetworkManager

namespace ConnMan
{

#define ZQ_BOTH(aName, aText) const char *aName = aText;
#define ZQ_MANAGER_ONLY(aName, aText)
#define ZQ_CLIENT_ONLY(aName, aText) ZQ_BOTH(aName, aText)
#include <zqnetworkmanager-vocabulary.def>
#undef ZQ_BOTH
#undef ZQ_MANAGER_ONLY
#undef ZQ_CLIENT_ONLY

} // namespace ConnMan

} // namespace zq
