#include "recorder.h"

#include <algorithm>
#include <sstream>
#include <utility>

namespace zq::Test
{

std::string Name(const Object *anObject)
{
    const std::string lPath = anObject != nullptr ? Text(anObject->GetPath().Get()) : "-";

    return lPath.substr(lPath.rfind('/') + 1);
}

Lines Names(const zqRefCountArray &anObjects)
{
    Lines lReturn;

    for (int lIndex = 0; lIndex < anObjects.GetNumElements(); ++lIndex)
        lReturn.push_back(Name(static_cast<Object *>(anObjects.GetElementPtr(lIndex))));
    return lReturn;
}

std::string Join(const Lines &aNames)
{
    std::string lReturn;

    for (const std::string &lName : aNames)
        lReturn += (lReturn.empty() ? "" : " ") + lName;
    return lReturn;
}

void Recorder::SetInside(Inside anInside)
{
    const std::lock_guard<std::mutex> lGuard(mLock);
    mInside = std::move(anInside);
}

Recorder::Inside Recorder::Append(const std::string &aLine)
{
    const std::lock_guard<std::mutex> lGuard(mLock);
    mLines.push_back(aLine);
    return mInside;
}

Lines Recorder::GetLines() const
{
    const std::lock_guard<std::mutex> lGuard(mLock);
    return mLines;
}

Lines Recorder::Take()
{
    const std::lock_guard<std::mutex> lGuard(mLock);
    return std::exchange(mLines, {});
}

void Recorder::Clear()
{
    (void)Take();
}

std::size_t Recorder::Count(const std::string &aLine) const
{
    const Lines lLines = GetLines();
    return static_cast<std::size_t>(std::count(lLines.begin(), lLines.end(), aLine));
}

bool Recorder::WaitFor(const std::string &aLine, std::size_t aCount) const
{
    return WaitUntil([&] { return Count(aLine) >= aCount; });
}

bool Recorder::WaitForAll(const Lines &aLines) const
{
    return WaitUntil([&] { return GetLines().size() >= aLines.size(); }) && GetLines() == aLines;
}

int Recorder::Find(const std::string &theWords, int aFrom) const
{
    const Lines lLines   = GetLines();
    const auto  lHasThem = [&](const std::string &aLine)
    {
        std::istringstream lWords(theWords);
        bool               lHas = true;

        for (std::string lWord; lHas && lWords >> lWord;)
            lHas = (" " + aLine + " ").find(" " + lWord + " ") != std::string::npos;
        return lHas;
    };
    const auto lFound = std::find_if(lLines.begin() + aFrom, lLines.end(), lHasThem);

    return lFound != lLines.end() ? static_cast<int>(lFound - lLines.begin()) : -1;
}

bool Recorder::WaitToFind(const std::string &theWords) const
{
    return WaitUntil([&] { return Find(theWords) >= 0; });
}

void Mirror::HandleEvent(zqEvent *anEvent)
{
    zqRefObjectArray<Service> lServices;

    if (const auto *lOf = dynamic_cast<const Event::ServicesChanged *>(anEvent))
        (void)lOf->GetServices(lServices);
    for (int lIndex = 0; lIndex < lServices.GetNumElements(); ++lIndex)
        if (anEvent->GetType() == Event::ServicesAdded::kType)
            mServices.insert(lServices.GetElementPtr(lIndex));
        else
            mServices.erase(lServices.GetElementPtr(lIndex));

    if (const auto *lState = dynamic_cast<const Event::StateChanged *>(anEvent))
        mState = Text(lState->GetState());
    if (const auto *lProperties = dynamic_cast<const Event::PropertiesChanged *>(anEvent))
        mStateProperty = Text(CFDictionaryGetValue(lProperties->GetProperties(), kManagerPropertyState));
    if (const auto *lChanged = dynamic_cast<const Event::ServiceChanged *>(anEvent))
        mChange = Text(lChanged->GetProperties());
}

/** Sorted: in what order a dictionary has them is not the point. */
std::string Recorder::Part(CFDictionaryRef aProperties) const
{
    const auto lKeys = CFUAdopt(CFUDictionaryCopyKeys(aProperties));
    Lines      lNames;

    for (CFIndex lIndex = 0; lKeys && lIndex < CFArrayGetCount(lKeys.Get()); ++lIndex)
    {
        const void *const lKey = CFArrayGetValueAtIndex(lKeys.Get(), lIndex);

        lNames.push_back(Text(lKey) + (mWithValues ? "=" + Text(CFDictionaryGetValue(aProperties, lKey)) : ""));
    }
    std::sort(lNames.begin(), lNames.end());
    return Part(lNames);
}

} // namespace zq::Test
