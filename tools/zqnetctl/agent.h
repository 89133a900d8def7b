/**
 *  @file
 *    Answering the daemon's requests for credentials.
 */

#ifndef ZQNETCTL_AGENT_H
#define ZQNETCTL_AGENT_H

#include "prompt.h"
#include "session.h"

namespace zqnetctl
{

class Agent
{
public:
    explicit Agent(Session &aSession) : mSession(aSession), mPrompt(aSession.GetInbox()) {}

    /**
     *  Ask the person for the fields of a ServiceInput event and answer with
     *  them, or refuse: when a mandatory field is left empty and at the end of
     *  input.
     *
     *  @returns false when interrupted.
     */
    bool Handle(const Json &aRequest);

private:
    Prompt::Result AskAll(const std::string &aName, const Json &aRequest, Json &anAnswers);
    Prompt::Result AskField(const std::string &aName, const std::string &aField, const Json &aRequest, Json &anAnswers);

    Session &mSession;
    Prompt   mPrompt;
};

} // namespace zqnetctl

#endif // ZQNETCTL_AGENT_H
