/**
 *  @file
 *    A Wi-Fi back-end for the real ConnMan: one station, whose radio is the
 *    cable wlan0, and the networks around it.
 */

#ifndef ZQ_MOCK_FAKEIWD_H
#define ZQ_MOCK_FAKEIWD_H

#include <map>
#include <string>

#include <fakepeer.h>

namespace zq::Mock
{

/** ConnMan 1.41 may crash when it goes: let it live longer. */
class FakeIwd final : public FakePeer
{
public:
    FakeIwd();
    ~FakeIwd() override;

    /** A network that the next scan finds; open when it has no key. */
    void AddNetwork(const std::string &aName, const std::string &aKey = "");

private:
    struct Network
    {
        std::string   mName;
        std::string   mKey;
        std::string   mReceivedKey;
        std::uint32_t mTicket    = 0; // of the question for the key
        bool          mFound     = false;
        bool          mConnected = false;
    };

    Answer AnswerLocked(const Call &aCall, GVariant *aBody) override;
    void   DidReplyLocked(std::uint32_t aTicket, const Reply &aReply) override;

    Answer Scan();
    Answer Connect(const std::string &aPath);
    Answer Disconnect();

    std::string        ListObjects() const;
    std::string        ListNetworks() const;
    static std::string Describe(const Network &aNetwork);
    void ChangeLocked(const std::string &aPath, const std::string &anInterface, const std::string &aProperties);

    std::map<std::string, Network> mNetworks;   // by path
    std::string                    mAgentOwner; // ConnMan's, which has the keys
    std::string                    mAgentPath;
};

} // namespace zq::Mock

#endif // ZQ_MOCK_FAKEIWD_H
