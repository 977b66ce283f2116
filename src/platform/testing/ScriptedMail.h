// A mail facility that writes down what is asked of it and sends nothing.
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

    bool session = false;       // one is there already
    bool signsOn = true;        // SignOn brings one about
    std::int32_t sendFails = 0; // the number of Send's failure, 0 for none
    std::string steps;          // each with "; " behind it
    std::string attachment;
    ByteArray sent; // what the attachment held at Send
};

} // namespace platform::testing
