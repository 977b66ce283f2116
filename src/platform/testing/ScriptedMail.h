// A mail service that records the calls and sends nothing.
#pragma once

#include "Failure.h"
#include "Files.h"
#include "Mail.h"

#include <string>

namespace platform::testing {

class ScriptedMail : public Mail {
public:
    ScriptedMail() { UseMail(this); }
    ~ScriptedMail() override { UseMail(nullptr); }
    bool SessionExists() override { return session; }
    void SignOn() override {
        steps += "sign on; ";
        session = signsOn;
    }
    void NewMessage() override { steps += "new message; "; }
    void SetRecipient(const std::string& address) override { steps += "to " + address + "; "; }
    void SetSubject(const std::string& subject) override { steps += "subject " + subject + "; "; }
    void SetAttachment(const std::string& path) override { steps += "attach " + (attachment = path) + "; "; }
    void SetText(const std::string& text) override { steps += "text '" + text + "'; "; }
    void Send() override {
        steps += "send; ";
        sent = ReadWholeFile(attachment);
        if (sendFails != 0)
            Raise(sendFails, "scripted");
    }

    bool session = false;       // there is one already
    bool signsOn = true;        // SignOn opens one
    std::int32_t sendFails = 0; // the failure number of Send; 0: it succeeds
    std::string steps;          // each followed by "; "
    std::string attachment;
    ByteArray sent; // the content of the attachment at Send
};

} // namespace platform::testing
