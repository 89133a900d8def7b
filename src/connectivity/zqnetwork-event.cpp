#include <zqnetwork-event.h>

namespace zqNetworkEvent
{

namespace
{

const unsigned int kFirstType = Failure::kType;
const unsigned int kNumTypes  = 4;

static_assert(Trace::kType == kFirstType + kNumTypes - 1, "one range of codes");

} // namespace

bool IsType(unsigned int aType)
{
    return aType - kFirstType < kNumTypes;
}

Base::~Base() = default;

zqError Base::Init(unsigned int aType)
{
    return zqEvent::Init(aType, 0);
}

zqError TechnologySpecific::Init(unsigned int aType, const zqString &aTechnology)
{
    const zqError lReturn = Base::Init(aType);

    mTechnology = aTechnology;
    return lReturn;
}

Failure::~Failure() = default;

zqError Failure::Init(const zqString &aTechnology, const zqString &aReason)
{
    const zqError lReturn = TechnologySpecific::Init(kType, aTechnology);

    mReason = aReason;
    return lReturn;
}

Success::~Success() = default;

zqError Success::Init(const zqString &aTechnology)
{
    return TechnologySpecific::Init(kType, aTechnology);
}

zqError Connected::Init(bool aConnected, bool aChange, zqStringArray &aTechnologies)
{
    const zqError lReturn = Base::Init(kType);

    mConnected = aConnected;
    mChange    = aChange;
    mTechnologies.Clear();

    return lReturn == zqError_None ? mTechnologies.Copy(aTechnologies) : lReturn;
}

zqError Connected::GetConnectedTechnologies(zqStringArray &aTechnologies) const
{
    aTechnologies.Clear();

    return aTechnologies.Copy(mTechnologies);
}

Trace::~Trace() = default;

zqError Trace::Init(const zqString &aTechnology)
{
    return TechnologySpecific::Init(kType, aTechnology);
}

RadioProperty::~RadioProperty() = default;

zqError RadioProperty::Init(const zqString &aTechnology, const zqString &aName, const void *aValue)
{
    const zqError lReturn = TechnologySpecific::Init(kType, aTechnology);

    mName  = aName;
    mValue = CFURetain(aValue);
    return lReturn;
}

} // namespace zqNetworkEvent
