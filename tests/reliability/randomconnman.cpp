#include "randomconnman.h"

#include <recorder.h>

namespace zq::Test
{

namespace
{

constexpr const char *kStates[] = { "'offline'", "'idle'", "'ready'", "'online'" };
constexpr const char *kTypes[]  = { "wifi", "ethernet", "bluetooth" };

template <typename T>
zqRefObjectArray<T> Snapshot(const Manager &aManager, zqError (Manager::*aGet)(zqRefObjectArray<T> &) const)
{
    zqRefObjectArray<T> lReturn;

    (void)(aManager.*aGet)(lReturn);
    return lReturn;
}

} // namespace

RandomConnMan::RandomConnMan(unsigned aSeed, int aMostServices) : mRandom(aSeed), mMostServices(aMostServices)
{
    mFake = Make();
    (void)mFake->Appear();
}

Properties RandomConnMan::RandomService(const std::string &aName)
{
    return FakeConnMan::WiFiService(aName, { { "Strength", "byte " + std::to_string(mRandom() % 100) } });
}

std::unique_ptr<FakeConnMan> RandomConnMan::Make()
{
    auto                 lReturn = std::make_unique<FakeConnMan>();
    FakeConnMan::Objects lObjects;

    mServices.clear();
    mTechnologies = { "wifi" };
    if (Chance(2))
        mTechnologies.insert("ethernet");
    for (unsigned lCount = mRandom() % static_cast<unsigned>(mMostServices); lCount > 0; lCount--)
    {
        const std::string lName = "s" + std::to_string(mRandom() % 60);

        mServices[lName] = RandomService(lName);
    }

    for (const auto &[lName, lProperties] : mServices)
        lObjects.emplace_back(FakeConnMan::ServicePath(lName), lProperties);
    lReturn->AddServices(lObjects);
    for (const std::string &lType : mTechnologies)
        lReturn->AddTechnology(FakeConnMan::TechnologyPath(lType), FakeConnMan::Technology(lType));
    mState = kStates[mRandom() % 4];
    lReturn->SetManagerProperty("State", mState);
    return lReturn;
}

void RandomConnMan::Change()
{
    const std::string lName     = "s" + std::to_string(mRandom() % 60);
    const std::string lPath     = FakeConnMan::ServicePath(lName);
    const std::string lType     = kTypes[mRandom() % 3];
    const auto        lFound    = mServices.find(lName);
    const std::string lStrength = "byte " + std::to_string(mRandom() % 100);

    switch (mRandom() % 8)
    {
    case 0:
        mState = kStates[mRandom() % 4];
        mFake->SetManagerProperty("State", mState);
        break;
    case 1:
        if (mTechnologies.insert(lType).second)
            mFake->AddTechnology(FakeConnMan::TechnologyPath(lType), FakeConnMan::Technology(lType));
        else if (mTechnologies.size() > 1 && mTechnologies.erase(lType) != 0)
            mFake->RemoveTechnology(FakeConnMan::TechnologyPath(lType));
        break;
    case 2:
    case 3:
        if (lFound == mServices.end())
            mFake->AddService(lPath, mServices[lName] = RandomService(lName));
        else
        {
            mServices.erase(lFound);
            mFake->RemoveService(lPath);
        }
        break;
    default:
        if (lFound != mServices.end())
            mFake->SetServiceProperty(lPath, "Strength", lFound->second["Strength"] = lStrength);
        break;
    }
}

void RandomConnMan::Restart()
{
    mFake->Crash();
    mFake.reset();
    mFake = Make();
    (void)mFake->Appear();
}

void RandomConnMan::Replace()
{
    auto lNew = Make();

    (void)lNew->Appear();
    mFake = std::move(lNew);
}

void RandomConnMan::Mistreat(const std::string &aMethod)
{
    const Answer lAnswers[] = { Answer::Held(), Answer::Error("net.connman.Error.Failed", "Input/output error") };

    mFake->Script(aMethod, lAnswers[mRandom() % 2], "", 1 + static_cast<int>(mRandom() % 3));
}

void RandomConnMan::Release()
{
    mFake->ClearScripts();
    mFake->ReleaseHeld();
    mFake->ClearCalls();
}

std::string RandomConnMan::Differs(Manager *aManager) const
{
    std::map<std::string, std::string> lTrue     = { { "state", mState } };
    std::map<std::string, std::string> lSaid     = { { "state", "'" + Text(aManager->ManagerGetState().Get()) + "'" } };
    const auto                         lServices = Snapshot(*aManager, &Manager::GetServices);
    const auto                         lTechnologies = Snapshot(*aManager, &Manager::GetTechnologies);

    for (const auto &[lName, lProperties] : mServices)
        lTrue[lName] = lProperties.at("Strength");
    for (const std::string &lType : mTechnologies)
        lTrue[lType] = "a technology";
    for (int lIndex = 0; lIndex < lServices.GetNumElements(); lIndex++)
        lSaid[Name(lServices.GetElementPtr(lIndex))] =
            "byte " + Text(lServices.GetElementPtr(lIndex)->GetStrength().Get());
    for (int lIndex = 0; lIndex < lTechnologies.GetNumElements(); lIndex++)
        lSaid[Name(lTechnologies.GetElementPtr(lIndex))] = "a technology";

    for (const auto &[lName, lValue] : lTrue)
        if (lSaid[lName] != lValue)
            return lName + " is " + lSaid[lName] + ", true " + lValue;
    for (const auto &[lName, lValue] : lSaid)
        if (lTrue[lName] != lValue)
            return lName + " is " + lValue + ", true none";
    return "";
}

} // namespace zq::Test
