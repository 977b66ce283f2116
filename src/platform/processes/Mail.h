// Sending one mail with the user's own mail program, whose window has the last word on it. The
// program's is the desktop's composer; tests script one; without either there is no mail session.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace platform {

inline constexpr std::int32_t MAIL_CANCELLED = 32001; // the user broke it off
inline constexpr std::int32_t MAIL_FAILED = 32002;

class Mail {
public:
    virtual ~Mail() = default;
    virtual bool SessionExists() = 0;
    // A new session, with the user's logon dialog if need be; mail isn't downloaded. Whether it
    // came about SessionExists tells.
    virtual void SignOn() = 0;
    // Starts an empty message in the session, in place of the one before.
    virtual void NewMessage() = 0;
    virtual void SetRecipient(const std::string& address) = 0; // without one the user is asked
    virtual void SetSubject(const std::string& subject) = 0;
    virtual void SetAttachment(const std::string& path) = 0;
    virtual void SetText(const std::string& text) = 0;
    // With the mail program's dialog. The attached file may be deleted afterwards. Failures:
    // MAIL_CANCELLED, MAIL_FAILED, or those of files and processes.
    virtual void Send() = 0;
};

void UseMail(Mail* mail); // null: no mail
Mail& CurrentMail();

// The current mail service as long as it lives: a session is there if the desktop's composer is.
class ComposerMail : public Mail {
public:
    // Some composers stay until the mail is written, or for as long as the mail program runs. One
    // that hasn't ended after `longestWait` milliseconds is taken to be showing its window.
    explicit ComposerMail(std::uint32_t longestWait = 3000);
    ~ComposerMail() override;
    bool SessionExists() override;
    void SignOn() override {} // the mail program does that
    void NewMessage() override;
    void SetRecipient(const std::string& address) override;
    void SetSubject(const std::string& subject) override;
    void SetAttachment(const std::string& path) override;
    void SetText(const std::string& text) override;
    void Send() override;

private:
    std::string KeepAttachment() const;
    std::vector<std::string> Command(const std::string& attachment) const;
    void Compose(const std::vector<std::string>& command) const;

    struct Message {
        std::string recipient, subject, attachment, text;
    };
    Message message_;
    std::uint32_t longestWait_;
};

} // namespace platform
