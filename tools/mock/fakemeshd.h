/**
 *  @file
 *    A radio daemon that plays whatever it is told to.
 */

#ifndef ZQ_MOCK_FAKEMESHD_H
#define ZQ_MOCK_FAKEMESHD_H

#include <map>
#include <string>

#include "fakepeer.h"

namespace zq::Mock
{

/**
 *  Left to itself it takes every command of the daemon, with the arguments that
 *  the daemon has for it, and keeps a store of properties. A property has a
 *  type: an integer that is written becomes of that type, and what has no form
 *  in it is refused with a status.
 *
 *  It begins with the interface "wpan0".
 */
class FakeMeshd final : public FakePeer
{
public:
    static constexpr const char *kInterface = "com.corvanix.MeshLink";

    FakeMeshd();
    ~FakeMeshd() override;

    static std::string Path(const std::string &aName = "wpan0") { return "/com/corvanix/MeshLink/" + aName; }

    /** Its properties are the default ones; "InterfaceAdded" is signalled while the daemon is present. */
    void AddInterface(const std::string &aName);

    /** Come back, or come, with every property at its default, and announce the interfaces. */
    bool Restart();

    /** A value's text, with its type: what the property holds from here on. Signals it. */
    void SetProperty(const std::string &aKey, const std::string &aValue, const std::string &aName = "wpan0");

    /** Empty when there is no such property. */
    std::string GetProperty(const std::string &aKey, const std::string &aName = "wpan0") const;

    /** Signals both the property and the state. */
    void SetState(const std::string &aState, const std::string &aName = "wpan0");

    void Signal(const std::string &aPath, const std::string &aMember, const std::string &aBody = "")
    {
        Emit(aPath, kInterface, aMember, aBody);
    }

private:
    using Properties = std::map<std::string, std::string>;

    Answer AnswerLocked(const Call &aCall, GVariant *aBody) override;
    Answer GetProp(const Properties &aProperties, const std::string &aKey) const;
    Answer SetProp(Properties &aProperties, const Call &aCall, GVariant *aBody);
    void   SetLocked(const std::string &aName, const std::string &aKey, const std::string &aValue);
    void   SetStateLocked(const std::string &aName, const std::string &aState);

    std::map<std::string, Properties> mInterfaces;
};

} // namespace zq::Mock

#endif // ZQ_MOCK_FAKEMESHD_H
