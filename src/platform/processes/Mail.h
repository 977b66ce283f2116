// Sending one mail through the user's own mail program, in whose window the user can still change or cancel it. The
// program uses the desktop's composer, and tests script one; without either there is no mail session.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace platform {

inline constexpr std::int32_t MAIL_CANCELLED = 32001; // the user cancelled it
inline constexpr std::int32_t MAIL_FAILED = 32002;

class Mail {
public:
    virtual ~Mail() = default;
    virtual bool SessionExists() = 0;
    // Opens a session, with the user's logon dialog if needed; mail isn't downloaded. SessionExists says whether it
    // succeeded.
    virtual void SignOn() = 0;
    // Starts an empty message in the session, replacing the previous one.
    virtual void NewMessage() = 0;
    virtual void SetRecipient(const std::string& address) = 0; // without one the user is asked
    virtual void SetSubject(const std::string& subject) = 0;
    virtual void SetAttachment(const std::string& path) = 0;
    virtual void SetText(const std::string& text) = 0;
    // Shows the mail program's dialog. The attached file may be deleted afterwards. Failures: MAIL_CANCELLED,
    // MAIL_FAILED, and those of files and processes.
    virtual void Send() = 0;
};

void UseMail(Mail* mail); // null: no mail
Mail& CurrentMail();

// The current mail service while it exists. There is a session if the desktop's composer is installed.
class ComposerMail : public Mail {
public:
    // Some composers run until the mail has been written, or as long as the mail program. One that hasn't ended after
    // `longestWait` milliseconds is assumed to be showing its window.
    explicit ComposerMail(std::uint32_t longestWait = 3000);
    ~ComposerMail() override;
    bool SessionExists() override;
    void SignOn() override {} // left to the mail program
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
