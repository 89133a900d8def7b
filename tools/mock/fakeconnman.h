/**
 *  @file
 *    A ConnMan that plays whatever it is told to.
 */

#ifndef ZQ_MOCK_FAKECONNMAN_H
#define ZQ_MOCK_FAKECONNMAN_H

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "fakepeer.h"

namespace zq::Mock
{

/** Property names with their values' texts: { "Strength", "byte 60" }. */
using Properties = std::map<std::string, std::string>;

/**
 *  Left to itself it behaves as ConnMan 1.41: its signals come in that daemon's
 *  order and shape, its errors have that daemon's names and messages.
 *
 *  Its state can be set at any time; while it is present, a change of the state
 *  sends the signals that tell of it.
 */
class FakeConnMan final : public FakePeer
{
public:
    using Object  = std::pair<std::string, Properties>;
    using Objects = std::vector<Object>;

    static constexpr const char *kManager    = "net.connman.Manager";
    static constexpr const char *kService    = "net.connman.Service";
    static constexpr const char *kTechnology = "net.connman.Technology";
    static constexpr const char *kAgent      = "net.connman.Agent";

    /** Absent, offline, and without objects. */
    FakeConnMan();
    ~FakeConnMan() override;

    /** What the daemon gives for an object of the type; each can be given other or further properties. */
    static Properties Technology(const std::string &aType, const Properties &aProperties = {});
    static Properties WiFiService(const std::string &aName, const Properties &aProperties = {});
    static Properties EthernetService(const Properties &aProperties = {});

    /** The same with the uint16 "MTU" in its "Ethernet" dictionary, as 1.41 sends it. */
    static Properties EthernetServiceWithMTU(const Properties &aProperties = {});

    static std::string ServicePath(const std::string &aName) { return "/net/connman/service/" + aName; }
    static std::string TechnologyPath(const std::string &aType) { return "/net/connman/technology/" + aType; }

    /** A dictionary's text of signature a{sv}. */
    static std::string Dictionary(const Properties &aProperties);

    void SetManagerProperty(const std::string &aName, const std::string &aValue);

    void AddTechnology(const std::string &aPath, const Properties &aProperties);
    void RemoveTechnology(const std::string &aPath);
    void SetTechnologyProperty(const std::string &aPath, const std::string &aName, const std::string &aValue)
    {
        SetObject(aPath, kTechnology, aName, aValue);
    }

    /** One ServicesChanged: full dictionaries for the new ones, empty ones for those that were there. */
    void AddServices(const Objects &aServices);
    void AddService(const std::string &aPath, const Properties &aProperties)
    {
        AddServices({ { aPath, aProperties } });
    }
    void RemoveServices(const std::vector<std::string> &aPaths);
    void RemoveService(const std::string &aPath) { RemoveServices({ aPath }); }
    void SetServiceProperty(const std::string &aPath, const std::string &aName, const std::string &aValue)
    {
        SetObject(aPath, kService, aName, aValue);
    }

    /** Forget all services and technologies, and send nothing. */
    void Reset();

    /** Leave as a daemon that is told to: removals, the agents' Release, then the name. */
    void Shutdown();

    /** Change services or properties without a signal: the daemon that comes back knows other things. */
    void Silently(bool aSilent);

    /** The first agent that is registered: its path and the unique name behind it; empty without one. */
    std::string GetAgentPath() const;
    std::string GetAgentOwner() const;

    /** Call that agent; the ticket is for GetReply(), 0 without an agent. */
    std::uint32_t CallAgent(const std::string &aMethod, const std::string &aBody);

private:
    Answer AnswerLocked(const Call &aCall, GVariant *aBody) override;
    Answer AnswerManagerLocked(const Call &aCall, GVariant *aBody);
    Answer AnswerPropertyLocked(const Call &aCall, GVariant *aBody, Properties &aProperties);
    Answer AnswerServiceLocked(const Call &aCall, Properties &aProperties);
    void   DidLeaveLocked() override { mAgents.clear(); }

    Properties *FindLocked(const std::string &aPath, const std::string &anInterface);
    void        SetLocked(Properties &aProperties, const std::string &aPath, const std::string &anInterface,
                          const std::string &aName, const std::string &aValue);
    void        SetObject(const std::string &aPath, const std::string &anInterface, const std::string &aName,
                          const std::string &aValue);
    void        SignalLocked(const std::string &aMember, const std::string &aBody);
    void        SignalServicesLocked(std::size_t aFirstNew, const std::vector<std::string> &aRemoved);

    Properties mProperties;
    Objects    mServices;
    Objects    mTechnologies;
    bool       mSilent;

    /** Unique names with their agents' paths; a connection has one at most. */
    std::vector<std::pair<std::string, std::string>> mAgents;
};

} // namespace zq::Mock

#endif // ZQ_MOCK_FAKECONNMAN_H
