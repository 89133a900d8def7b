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
    const zqError             lError    = aManager.GetServices(lServices);

    if (lError != zqError_None)
        return lError;

    for (int lIndex = 0; lIndex < lServices.GetNumElements(); lIndex++)
    {
        const auto        lService = lServices.GetElement(lIndex);
        const std::string lPath    = ToText(lService->GetPath().Get());

        if (lPath == aWord)
        {
            aService = lService;
            return zqError_None;
        }

        if (GetLastSegment(lPath) == aWord)
            lSegment = lService;

        if (ToText(lService->GetName().Get()) == aWord && lNumNamed++ == 0)
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
