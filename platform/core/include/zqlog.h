/**
 *  @file
 *    The component logger and the assertions that report through it.
 *
 *  Levels: 1 detail (loop tracing, method calls), 2 information (signals,
 *  counts), 3 presence changes and failure outcomes, 4 errors and assertions.
 *
 *  May be called from any thread.
 */

#ifndef ZQLOG_H
#define ZQLOG_H

#include <zqexport.h>

enum
{
    zqLogLevel_Detail      = 1,
    zqLogLevel_Information = 2,
    zqLogLevel_Notice      = 3,
    zqLogLevel_Error       = 4
};

/**
 *  Receives every line at or above the installed level.
 *
 *  Called on the thread that logs, with no lock of the logger held, possibly
 *  on several threads at once. It must not throw.
 *
 *  @param[in]  aContext    What was given to zqLogSetHandler.
 *  @param[in]  aComponent  The component's name; may be empty, never null.
 *  @param[in]  aLevel      1 to 4.
 *  @param[in]  aText       The formatted line, as the component wrote it; a
 *                          final line break is there only if the format has one.
 */
using zqLogHandler = void (*)(void *aContext, const char *aComponent, int aLevel, const char *aText);

/**
 *  Install a handler, or with null the default one (standard error).
 *
 *  @param[in]  aHandler  The handler; null for the default.
 *  @param[in]  aContext  Handed to the handler; must outlive its installation.
 *  @param[in]  aLevel    The lowest level that is reported; lines below it are
 *                        not even formatted. Without any call it is 3.
 *
 *  When this returns, no call of the previous handler begins any more; one
 *  that another thread has begun may still be running, so its context must stay
 *  until the threads that log are known to be past it.
 */
ZQ_EXPORT void zqLogSetHandler(zqLogHandler aHandler, void *aContext, int aLevel);

/** True when a line of this level would be reported: worth preparing its arguments. */
ZQ_EXPORT bool zqLogIsEnabled(int aLevel);

/**
 *  Format and report one line, if its level is reported; errno is left alone.
 *
 *  A line of any length is reported whole; when memory is exhausted, its
 *  beginning is.
 */
ZQ_EXPORT void zqLogWithComponent(const char *aComponent, int aLevel, const char *aFormat, ...)
    __attribute__((format(printf, 3, 4)));

/**
 *  Report a failed precondition at level 4, in the platform's one format:
 *  "%s%s%s%s, %s%sfile: %s, line: %d\n".
 *
 *  @param[in]  aMessage  Words that explain the failure, or empty.
 */
ZQ_EXPORT void zqLogAssertion(const char *aComponent, const char *aCondition, const char *aMessage, const char *aFile,
                              int aLine);

/*
 * A source file of a module defines, after its includes,
 *
 *   ZQ_LOG_COMPONENT   the component of its lines and assertions, such as "connman"
 *   ZQ_LOG_FILE        the module's fixed source name, such as "zqconnman"
 *
 * and writes its conditions with NULL, not nullptr: the condition's own text is
 * what is logged, and it reads "aPath != __null" in every log of this system.
 */

/** Log; the arguments are evaluated only when the level is reported. */
#define ZQ_LOG(aLevel, ...)                                                                                            \
    do                                                                                                                 \
    {                                                                                                                  \
        if (zqLogIsEnabled(aLevel))                                                                                    \
            zqLogWithComponent(ZQ_LOG_COMPONENT, (aLevel), __VA_ARGS__);                                               \
    } while (false)

#define ZQ_LOG_TEXT_(...) #__VA_ARGS__
#define ZQ_LOG_TEXT(...) ZQ_LOG_TEXT_(__VA_ARGS__)

/** True when the condition holds; otherwise false, and the assertion @a aText is logged. */
#define ZQ_CHECK_TEXT(aCondition, aText)                                                                               \
    (__builtin_expect(static_cast<bool>(aCondition), true)                                                             \
         ? true                                                                                                        \
         : (zqLogAssertion(ZQ_LOG_COMPONENT, (aText), "", ZQ_LOG_FILE, __LINE__), false))

/** True when the condition holds; otherwise false, and the condition's own text is logged as an assertion. */
#define ZQ_CHECK(aCondition) ZQ_CHECK_TEXT(aCondition, ZQ_LOG_TEXT(aCondition))

/** As ZQ_CHECK, with words that explain the failure. */
#define ZQ_CHECK_MESSAGE(aCondition, aMessage)                                                                         \
    (__builtin_expect(static_cast<bool>(aCondition), true)                                                             \
         ? true                                                                                                        \
         : (zqLogAssertion(ZQ_LOG_COMPONENT, ZQ_LOG_TEXT(aCondition), (aMessage), ZQ_LOG_FILE, __LINE__), false))

/** Leave the function with @a aResult, and an assertion, unless the condition holds. */
#define ZQ_REQUIRE(aCondition, aResult)                                                                                \
    do                                                                                                                 \
    {                                                                                                                  \
        if (!ZQ_CHECK(aCondition))                                                                                     \
            return aResult;                                                                                            \
    } while (false)

#endif // ZQLOG_H
