/**
 *  @file
 *    The events of connectivity.
 *
 *  The controller posts Connected. The others are for the device's components
 *  that know more of a technology: nothing in this library makes one. So their
 *  destructors are defined in it, or it would not have their classes.
 *
 *  A receiver tells them apart by zqEvent::GetType() and the classes' kType
 *  before it casts. An event is made, initialised and enqueued, and does not
 *  change afterwards: it may be read on any thread. What a getter yields by
 *  reference is lent for the event's life.
 */

#ifndef ZQNETWORK_EVENT_H
#define ZQNETWORK_EVENT_H

#include <CFUtilities.h>
#include <zqevent.h>
#include <zqstring.h>

namespace zqNetworkEvent
{

/**
 *  True for the code of a Failure, Success, Connected or Trace.
 *
 *  False for a RadioProperty's: whoever routes the events of connectivity by
 *  this does not get those.
 */
ZQ_EXPORT bool IsType(unsigned int aType);

/** Something about the device's connectivity. */
class ZQ_EXPORT Base : public zqEvent
{
public:
    /** @retval 0 */
    zqError Init(unsigned int aType);

protected:
    ~Base() override;
};

/** Something about one technology. */
class ZQ_EXPORT TechnologySpecific : public Base
{
public:
    /** @retval 0 */
    zqError Init(unsigned int aType, const zqString &aTechnology);

    /** Its type, such as "wifi". */
    const zqString &GetTechnology() const { return mTechnology; }

private:
    zqString mTechnology;
};

/** A technology failed. Carries its type and a reason for people. Never posted by this library. */
class ZQ_EXPORT Failure : public TechnologySpecific
{
public:
    static constexpr unsigned int kType = 0x30010016;

    /** @retval 0 */
    zqError Init(const zqString &aTechnology, const zqString &aReason);

    const zqString &GetReason() const { return mReason; }

protected:
    ~Failure() override;

private:
    zqString mReason;
};

/** A technology succeeded. Carries its type. Never posted by this library. */
class ZQ_EXPORT Success : public TechnologySpecific
{
public:
    static constexpr unsigned int kType = 0x30010017;

    /** @retval 0 */
    zqError Init(const zqString &aTechnology);

protected:
    ~Success() override;
};

/** Whether any technology is connected was found out anew, which need not be a change: the controller posts it after
 * every recalculation. Carries the answer, whether it is another one than before, and the types of those that are. */
class ZQ_EXPORT Connected : public Base
{
public:
    static constexpr unsigned int kType = 0x30010018;

    /**
     *  @param[in]  aConnected     Whether any technology is connected.
     *  @param[in]  aChange        Whether that differs from what was found before.
     *  @param[in]  aTechnologies  The types of those that are; copied.
     *
     *  @retval 0, -2 when memory is exhausted.
     */
    zqError Init(bool aConnected, bool aChange, zqStringArray &aTechnologies);

    bool IsConnected() const { return mConnected; }
    bool IsChange() const { return mChange; }

    /** Replace the contents of an array by the types. @retval 0, -2 when memory is exhausted. */
    zqError GetConnectedTechnologies(zqStringArray &aTechnologies) const;

private:
    bool          mConnected = false;
    bool          mChange    = false;
    zqStringArray mTechnologies;
};

/** Something of interest happened to a technology. Carries its type. Never posted by this library. */
class ZQ_EXPORT Trace : public TechnologySpecific
{
public:
    static constexpr unsigned int kType = 0x30010019;

    /** @retval 0 */
    zqError Init(const zqString &aTechnology);

protected:
    ~Trace() override;
};

/** A property of a technology's radio changed. Carries the technology's type, and the property's name and value. Never
 * posted by this library, and not among the codes of IsType. */
class ZQ_EXPORT RadioProperty : public TechnologySpecific
{
public:
    static constexpr unsigned int kType = 0x3001001D;

    /**
     *  @param[in]  aValue  A CoreFoundation value, of which the event takes a
     *                      reference; may be null.
     *  @retval 0
     */
    zqError Init(const zqString &aTechnology, const zqString &aName, const void *aValue);

    const zqString &GetPropertyName() const { return mName; }

    /** Lent. */
    const void *GetPropertyValue() const { return mValue.Get(); }

protected:
    ~RadioProperty() override;

private:
    zqString                   mName;
    CFUSharedRef<const void *> mValue;
};

} // namespace zqNetworkEvent

#endif // ZQNETWORK_EVENT_H
