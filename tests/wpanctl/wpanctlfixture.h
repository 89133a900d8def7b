/**
 *  @file
 *    The WPAN client of this process against a radio daemon of GDBus.
 */

#ifndef ZQ_TEST_WPANCTLFIXTURE_H
#define ZQ_TEST_WPANCTLFIXTURE_H

#include <zqwpanctl-signals.h>

#include <bus.h>
#include <cfvalues.h>
#include <fakemeshd.h>
#include <logcapture.h>
#include <privatebus.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace zq::Test
{

using namespace Mock;

using Lines = std::vector<std::string>;

class WPANCtl : public testing::Test
{
public:
    template <typename Condition>
    static bool PumpUntil(const Condition &aCondition)
    {
        return zq::Test::PumpUntil(zqDBus::GetGlobalDefaultInstance(), aCondition);
    }

protected:
    // The filter is the process's: this suite's bus is the process-wide one from
    // its first test to its last.
    static void SetUpTestSuite()
    {
        SystemBus();
        zqDBus::SetGlobalDefaultInstance(zqDBus::GetThreadDefaultInstance());
        sInitialised = std::make_unique<zqWPANCtl>();
        ASSERT_EQ(sInitialised->Init(), 0);
        ASSERT_EQ(zqDBus::GetGlobalDefaultInstance()->AddConnectionFilter(NoteUnhandled, &sUnhandled, nullptr), 0);
    }

    static void TearDownTestSuite()
    {
        (void)zqDBus::GetGlobalDefaultInstance()->RemoveConnectionFilter(NoteUnhandled, &sUnhandled);
        zqDBus::SetGlobalDefaultInstance(nullptr);
        sInitialised.reset();
    }

    void SetUp() override
    {
        ASSERT_TRUE(mMeshd.Appear());
        mInterface = sInitialised->GetInterface();
        sUnhandled.clear();
    }

    /** Dispatch all that the radio has sent. */
    void Settle()
    {
        mMeshd.Flush();
        EXPECT_TRUE(zq::Test::Settle(zqDBus::GetGlobalDefaultInstance()));
    }

    /** What a filter that comes after the controllers' own gets to see. */
    static DBusHandlerResult NoteUnhandled(DBusConnection *, DBusMessage *aMessage, void *aContext)
    {
        if (dbus_message_get_type(aMessage) == DBUS_MESSAGE_TYPE_SIGNAL &&
            dbus_message_has_interface(aMessage, FakeMeshd::kInterface))
            static_cast<Lines *>(aContext)->push_back(dbus_message_get_member(aMessage));
        return DBUS_HANDLER_RESULT_NOT_YET_HANDLED;
    }

    static inline std::unique_ptr<zqWPANCtl> sInitialised;
    static inline Lines                      sUnhandled;
    FakeMeshd                                mMeshd;
    zqWPANCtl::Interface                    *mInterface = nullptr;
    LogCapture                               mLog;
};

} // namespace zq::Test

#endif // ZQ_TEST_WPANCTLFIXTURE_H
