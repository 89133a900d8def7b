/**
 *  @file
 *    Runs a program and waits for it.
 */

#ifndef ZQCOMMANDEXEC_H
#define ZQCOMMANDEXEC_H

#include <zqerror.h>
#include <zqexport.h>
#include <zqstring.h>

/**
 *  Run a program with an argument vector (never through a shell) and yield its
 *  exit status. The calling thread blocks until the program has ended.
 *
 *  The program reads from /dev/null. It inherits the descriptors 1 and 2 and no
 *  others, and the environment. No signal is blocked or ignored in it.
 *
 *  May be called from any thread. The application must not ignore SIGCHLD, nor
 *  wait for children that are not its own: the exit status is lost then.
 *
 *  @param[in]   aPath       The program; searched for nowhere.
 *  @param[in]   aArguments  The arguments after the program's name.
 *  @param[out]  aStatus     The exit status: 0 to 255, or 128 plus the number
 *                           of the signal that killed it; -1 when the result
 *                           is not 0.
 *
 *  @retval   0  The program ran; @a aStatus says how it ended.
 *  @retval  -2  Memory is exhausted.
 *  @retval  -5  The path is empty.
 *  @retval -17  There is no such program.
 *  @retval -19  The program may not be executed.
 *  @retval  -1  It could not be started for another reason, or it was started
 *               and its exit status was taken by somebody else.
 */
ZQ_EXPORT zqError zqCommandExec(const zqString &aPath, const zqStringArray &aArguments, int &aStatus) noexcept;

#endif // ZQCOMMANDEXEC_H
