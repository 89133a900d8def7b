#include "lookup.h"

#include "describe.h"

namespace zqnetctl
{

zqError FindService(Manager &aManager, const std::string &aWord, zqSharedPtr<Service> &aService)
{
    zqRefObjectArray<Service> lServices;
    zqSharedPtr<Service>      lSegment;
    zqSharedPtr<Service>      lNamed;
    int                       lNumNamed = 0;
    const zqError             lReturn   = aManager.GetServices(lServices);

    if (lReturn != zqError_None)
        return lReturn;

    for (const Service *lService : lServices)
    {
        const std::string lPath = CFUText(lService->GetPath());

        if (lPath == aWord)
        {
            aService = lService;
            return zqError_None;
        }

        if (GetLastSegment(lPath) == aWord)
            lSegment = lService;

        if (CFUText(lService->GetName()) == aWord && lNumNamed++ == 0)
            lNamed = lService;
    }

    if (lSegment == nullptr && lNumNamed > 1)
        return zqError_AlreadyPresent;

    aService = lSegment != nullptr ? lSegment : lNamed;
    return aService != nullptr ? zqError_None : zqError_NotFound;
}

Json ParseValue(const std::string &aText)
{
    Json lValue = Json::parse(aText, nullptr, false);

    if (lValue.is_boolean() || lValue.is_number_integer() || lValue.is_structured() || lValue.is_string())
        return lValue;
    return aText;
}

} // namespace zqnetctl
