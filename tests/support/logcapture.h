/**
 *  @file
 *    What the code under test logs.
 */

#ifndef ZQ_TEST_LOGCAPTURE_H
#define ZQ_TEST_LOGCAPTURE_H

#include <mutex>
#include <string>
#include <vector>

namespace zq::Test
{

/** While it lives, every line of every component and level comes here and nowhere else. */
class LogCapture
{
public:
    struct Line
    {
        std::string mComponent;
        int         mLevel;
        std::string mText;
    };

    LogCapture();
    ~LogCapture();

    LogCapture(const LogCapture &)            = delete;
    LogCapture &operator=(const LogCapture &) = delete;

    std::vector<Line> GetLines() const;
    void              Clear();

    /** The number of lines that contain the text; level 0 stands for any. */
    std::size_t Count(const std::string &aText, int aLevel = 0) const;
    bool        Contains(const std::string &aText, int aLevel = 0) const { return Count(aText, aLevel) > 0; }
    bool        Contains(int aLevel, const std::string &aText) const { return Count(aText, aLevel) > 0; }

    /** False when no such line came within the limit of WaitUntil. */
    bool WaitFor(const std::string &aText, int aLevel = 0) const;

    /** All lines as "level component text", for the message of a failed expectation. */
    std::string GetText() const;

private:
    static void Handle(void *aContext, const char *aComponent, int aLevel, const char *aText) noexcept;
};

} // namespace zq::Test

#endif // ZQ_TEST_LOGCAPTURE_H
