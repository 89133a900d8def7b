#include "options.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace zqnetctl
{

namespace
{

bool SetSeconds(Options &anOptions, const std::string &aText)
{
    // Ten years: far beyond any use, and far from overflowing a count of milliseconds.
    constexpr double kMost = 10.0 * 365 * 24 * 3600;

    char        *lEnd     = nullptr;
    const double lSeconds = strtod(aText.c_str(), &lEnd);

    if (aText.empty() || *lEnd != '\0' || !std::isfinite(lSeconds) || lSeconds < 0 || lSeconds > kMost)
        return false;

    anOptions.mSeconds = std::chrono::milliseconds(std::llround(lSeconds * 1000));
    return true;
}

bool SetCount(Options &anOptions, const std::string &aText)
{
    unsigned long long lCount = 0;

    if (!ParseUnsigned(aText, lCount) || lCount == 0)
        return false;

    anOptions.mCount = static_cast<unsigned long>(lCount);
    return true;
}

bool SetPower(Options &anOptions, const std::string &aText)
{
    if (aText != "on" && aText != "off")
        return false;

    anOptions.mPower = aText == "on";
    return true;
}

struct Flag
{
    const char *mName;
    bool Options::*mMember;
};

struct Valued
{
    const char *mName;
    const char *mValue; ///< what it is
    bool (*mSet)(Options &anOptions, const std::string &aText);
};

constexpr Flag kFlags[] = {
    { "--json", &Options::mJson },
    { "--exact", &Options::mExact },
    { "--help", &Options::mHelp },
    { "-h", &Options::mHelp },
};

constexpr Valued kValued[] = {
    { "--seconds", "a number that can be used", SetSeconds },
    { "--count", "a number that can be used", SetCount },
    { "--power", "on or off", SetPower },
};

/** Walks the words of one command line. */
class Parser
{
public:
    Parser(int aCount, const char *const *aWords, Options &anOptions, std::string &aProblem)
        : mWords(aWords + (aCount > 0 ? 1 : 0), aWords + aCount), mOptions(anOptions), mProblem(aProblem)
    {
    }

    bool Parse()
    {
        bool lOptionsEnded = false;

        while (mNext < mWords.size())
        {
            const std::string lWord = mWords[mNext++];

            if (!lOptionsEnded && lWord == "--")
                lOptionsEnded = true;
            else if (lOptionsEnded || !IsOption(lWord))
                AddWord(lWord);
            else if (!TakeOption(lWord))
                return false;
        }
        return true;
    }

private:
    bool IsOption(const std::string &aWord) const
    {
        return aWord.compare(0, 2, "--") == 0 || (mOptions.mCommand.empty() && aWord.size() > 1 && aWord[0] == '-');
    }

    void AddWord(const std::string &aWord)
    {
        if (mOptions.mCommand.empty())
            mOptions.mCommand = aWord;
        else
            mOptions.mArguments.push_back(aWord);
    }

    bool TakeOption(const std::string &aWord)
    {
        for (const Flag &lFlag : kFlags)
            if (aWord == lFlag.mName)
                return mOptions.*lFlag.mMember = true;

        for (const Valued &lValued : kValued)
            if (aWord.compare(0, strlen(lValued.mName), lValued.mName) == 0)
                if (const auto lRest = aWord.substr(strlen(lValued.mName)); lRest.empty() || lRest[0] == '=')
                    return TakeValue(lValued, lRest);

        if (aWord[1] == 'v' && aWord.find_first_not_of('v', 1) == std::string::npos)
        {
            mOptions.mVerbosity += static_cast<int>(aWord.size() - 1);
            return true;
        }

        mProblem = "unknown option " + aWord;
        return false;
    }

    bool TakeValue(const Valued &aValued, const std::string &aRest)
    {
        if (aRest.empty() && mNext == mWords.size())
        {
            mProblem = std::string(aValued.mName) + " needs " + aValued.mValue;
            return false;
        }

        const std::string lText = aRest.empty() ? mWords[mNext++] : aRest.substr(1);

        if (!aValued.mSet(mOptions, lText))
            mProblem = std::string(aValued.mName) + ": not " + aValued.mValue + ": " + lText;
        return mProblem.empty();
    }

    std::vector<std::string> mWords;
    Options                 &mOptions;
    std::string             &mProblem;
    std::size_t              mNext = 0;
};

} // namespace

bool ParseOptions(int aCount, const char *const *aWords, Options &anOptions, std::string &aProblem)
{
    return Parser(aCount, aWords, anOptions, aProblem).Parse();
}

bool ParseUnsigned(const std::string &aText, unsigned long long &aNumber)
{
    // strtoull takes signs and white space too, and wraps a negative number.
    if (aText.empty() || aText.find_first_not_of("0123456789") != std::string::npos)
        return false;

    errno   = 0;
    aNumber = strtoull(aText.c_str(), nullptr, 10);
    return errno == 0;
}

} // namespace zqnetctl
