// Passwords and certificates, with the platform's own dialogs, which a second thread answers. The
// platform under test never sends the credentials that it was given: a stand-in puts them into the
// request.

#include <gtest/gtest.h>
#include <windows.h>

#include <wincrypt.h>

#include <atomic>
#include <thread>
#include <vector>

#include "harness/peer.h"
#include "harness/printing.h"
#include "harness/wininet/import_patch.h"
#include "harness/wininet/wininet_functions.h"
#include "tests/ipp/expected_requests.h"

namespace velmora {
namespace {

using testing::Peer;
using testing::printDocument;
using testing::targetOf;
using testing::testDocument;

constexpr char kPasswordTitle[] = "Authentication Required";
constexpr char kSecurityTitle[] = "Security Warning";
constexpr int kUserNameField = 0x403;
constexpr int kPasswordField = 0x404;

/// What a user does with one dialog.
struct DialogAnswer {
    const char* title;
    int button;
    const char* userName = "";
    const char* password = "";
};

/// Answers the platform's dialogs in this order; further dialogs are cancelled and counted.
class DialogUser {
  public:
    explicit DialogUser(std::vector<DialogAnswer> answers)
        : answers_(std::move(answers)), thread_([this] { answerDialogs(); }) {}
    ~DialogUser() {
        done_ = true;
        thread_.join();
    }

    std::size_t answered() const { return answered_; }
    bool surprised() const { return surprised_; }

  private:
    void answerDialogs() {
        HWND last = nullptr;
        while (!done_) {
            const HWND dialog = findDialog();
            // A dialog that was answered may still be closing.
            if (dialog == nullptr || dialog == last) {
                SleepEx(10, FALSE);
                continue;
            }
            last = dialog;
            answer(dialog);
            while (IsWindow(dialog) && !done_)
                SleepEx(10, FALSE);
            last = nullptr;
        }
    }
    static HWND findDialog() {
        for (const char* title : {kPasswordTitle, kSecurityTitle}) {
            const HWND dialog = FindWindowA("#32770", title);
            if (dialog != nullptr && IsWindowVisible(dialog)) return dialog;
        }
        return nullptr;
    }
    void answer(HWND dialog) {
        char title[64] = "";
        GetWindowTextA(dialog, title, sizeof title);
        if (answered_ >= answers_.size() || answers_[answered_].title != std::string(title)) {
            surprised_ = true;
            PostMessageA(dialog, WM_COMMAND, IDCANCEL, 0);
            return;
        }
        const DialogAnswer& wanted = answers_[answered_++];
        if (wanted.title == kPasswordTitle) {
            SetDlgItemTextA(dialog, kUserNameField, wanted.userName);
            SetDlgItemTextA(dialog, kPasswordField, wanted.password);
        }
        PostMessageA(dialog, WM_COMMAND, static_cast<WPARAM>(wanted.button), 0);
    }

    std::vector<DialogAnswer> answers_;
    std::atomic<std::size_t> answered_ = 0;
    std::atomic<bool> surprised_ = false;
    std::atomic<bool> done_ = false;
    std::thread thread_;
};

/// Sends the credentials that the program sets, or types into the password dialog, as Basic
/// authentication (RFC 2617, 2).
class BasicAuthentication {
  public:
    BasicAuthentication() : functions_(testing::winInetFunctions()) {
        original_ = functions_;
        userName_.clear();
        password_.clear();
        functions_.internetSetOption = setOption;
        functions_.httpSendRequestEx = sendRequest;
    }
    ~BasicAuthentication() { functions_ = original_; }

    /// The text that the user types next.
    void type(const std::string& userName, const std::string& password) {
        userName_ = userName;
        password_ = password;
    }

  private:
    static BOOL WINAPI setOption(HINTERNET handle, DWORD option, LPVOID area, DWORD size) {
        const std::string text(static_cast<char*>(area), size);
        if (option == INTERNET_OPTION_USERNAME) userName_ = text;
        if (option == INTERNET_OPTION_PASSWORD) password_ = text;
        return original_.internetSetOption(handle, option, area, size);
    }
    static BOOL WINAPI sendRequest(HINTERNET request, LPINTERNET_BUFFERSA in,
                                   LPINTERNET_BUFFERSA out, DWORD flags, DWORD_PTR context) {
        if (!userName_.empty()) {
            const std::string header =
                "Authorization: Basic " + base64(userName_ + ":" + password_) + "\r\n";
            original_.httpAddRequestHeaders(request, header.c_str(), static_cast<DWORD>(-1),
                                            HTTP_ADDREQ_FLAG_ADD | HTTP_ADDREQ_FLAG_REPLACE);
        }
        return original_.httpSendRequestEx(request, in, out, flags, context);
    }
    static std::string base64(const std::string& text) {
        static constexpr char kDigits[] =
            "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
        std::string coded;
        for (std::size_t at = 0; at < text.size(); at += 3) {
            unsigned group = 0;
            for (std::size_t i = 0; i < 3; ++i)
                group = group << 8 |
                        (at + i < text.size() ? static_cast<unsigned char>(text[at + i]) : 0u);
            for (std::size_t i = 0; i < 4; ++i)
                coded += at + i <= text.size() ? kDigits[group >> (18 - 6 * i) & 63] : '=';
        }
        return coded;
    }

    testing::WinInetFunctions& functions_;
    static inline testing::WinInetFunctions original_;
    static inline std::string userName_;
    static inline std::string password_;
};

class Dialogs : public ::testing::Test {
  protected:
    testing::ShortPauses shortPauses;
};

/// Makes the user of this Wine prefix trust a certificate as long as this object lives.
class TrustedCertificate {
  public:
    explicit TrustedCertificate(const std::string& der)
        : certificate_(CertCreateCertificateContext(X509_ASN_ENCODING,
                                                    reinterpret_cast<const BYTE*>(der.data()),
                                                    static_cast<DWORD>(der.size()))) {
        // Others see the certificate once the store is closed.
        const HCERTSTORE store = CertOpenSystemStoreA(0, "ROOT");
        trusted_ = CertAddEncodedCertificateToStore(
            store, X509_ASN_ENCODING, reinterpret_cast<const BYTE*>(der.data()),
            static_cast<DWORD>(der.size()), CERT_STORE_ADD_ALWAYS, nullptr);
        CertCloseStore(store, 0);
    }
    ~TrustedCertificate() {
        const HCERTSTORE store = CertOpenSystemStoreA(0, "ROOT");
        const PCCERT_CONTEXT found = CertFindCertificateInStore(
            store, X509_ASN_ENCODING, 0, CERT_FIND_EXISTING, certificate_, nullptr);
        if (found != nullptr) CertDeleteCertificateFromStore(found);
        CertCloseStore(store, 0);
        CertFreeCertificateContext(certificate_);
    }
    TrustedCertificate(const TrustedCertificate&) = delete;
    TrustedCertificate& operator=(const TrustedCertificate&) = delete;

    bool trusted() const { return trusted_; }

  private:
    PCCERT_CONTEXT certificate_;
    bool trusted_ = false;
};

// The first test of this file: the platform reads the trusted certificates once in a process.
TEST_F(Dialogs, TrustedHttpsRaisesNoQuestion) {
    Peer printer("http_sink --certificate self-signed");
    const TrustedCertificate certificate(printer.file("certificate.der").value_or(""));
    ASSERT_TRUE(certificate.trusted());
    const DialogUser user({});
    const std::string sent = testDocument(3000);
    EXPECT_TRUE(printDocument(targetOf(printer.url()), sent));
    EXPECT_FALSE(user.surprised());
    const std::string body = printer.file("request-2.body").value_or("");
    EXPECT_TRUE(body.ends_with(sent));
}

TEST_F(Dialogs, CredentialsGivenBeforehandRaiseNoQuestion) {
    Peer printer("http_sink --basic user:secret");
    const BasicAuthentication authentication;
    const DialogUser user({});
    PrintTarget target = targetOf(printer.url());
    target.useAuthentication = 1;
    target.userName = "user";
    target.password = "secret";
    EXPECT_TRUE(printDocument(target, testDocument(3000)));
    EXPECT_FALSE(user.surprised());
}

TEST_F(Dialogs, WrongCredentialsAreAskedForUntilTheyAreRight) {
    Peer printer("http_sink --basic user:secret");
    BasicAuthentication authentication;
    const DialogUser user(
        {{kPasswordTitle, IDOK, "user", "wrong"}, {kPasswordTitle, IDOK, "user", "secret"}});
    // The stand-in does not read the dialog: it is told the text once the dialog has been answered.
    testing::WinInetFunctions& functions = testing::winInetFunctions();
    static testing::WinInetFunctions platform;
    static BasicAuthentication* standIn;
    static int questions;
    platform = functions;
    standIn = &authentication;
    questions = 0;
    struct Ask {
        static DWORD WINAPI ask(HWND owner, HINTERNET request, DWORD error, DWORD flags,
                                LPVOID* data) {
            const DWORD result = platform.internetErrorDlg(owner, request, error, flags, data);
            standIn->type("user", ++questions == 1 ? "wrong" : "secret");
            return result;
        }
    };
    functions.internetErrorDlg = Ask::ask;
    PrintTarget target = targetOf(printer.url());
    target.useAuthentication = 1;
    target.userName = "nobody";
    target.password = "";
    EXPECT_TRUE(printDocument(target, testDocument(3000)));
    EXPECT_EQ(user.answered(), 2u);
    EXPECT_FALSE(user.surprised());
}

TEST_F(Dialogs, CancelledPasswordDialogGivesTheJobUp) {
    Peer printer("http_sink --basic user:secret");
    const DialogUser user({{kPasswordTitle, IDCANCEL}});
    EXPECT_FALSE(testing::startJob(targetOf(printer.url())));
    EXPECT_EQ(user.answered(), 1u);
    EXPECT_FALSE(printer.file("request-2.head")) << "nothing was sent after the refusal";
}

TEST_F(Dialogs, PrinterThatIsNeverContentAsksUntilTheUserGivesUp) {
    Peer printer("faulty_printer unauthorized");
    const DialogUser user({{kPasswordTitle, IDOK, "user", "1"},
                           {kPasswordTitle, IDOK, "user", "2"},
                           {kPasswordTitle, IDOK, "user", "3"},
                           {kPasswordTitle, IDCANCEL}});
    EXPECT_FALSE(testing::startJob(targetOf(printer.url())));
    EXPECT_EQ(user.answered(), 4u);
    EXPECT_FALSE(user.surprised());
}

TEST_F(Dialogs, AcceptedCertificateLetsTheJobGoOn) {
    Peer printer("http_sink --certificate self-signed");
    const DialogUser user({{kSecurityTitle, 1}});
    EXPECT_TRUE(printDocument(targetOf(printer.url()), testDocument(3000)));
    EXPECT_EQ(user.answered(), 1u);
    EXPECT_FALSE(user.surprised());
    EXPECT_TRUE(printer.file("request-2.head"));
}

TEST_F(Dialogs, RefusedCertificateGivesTheJobUp) {
    Peer printer("http_sink --certificate self-signed");
    const DialogUser user({{kSecurityTitle, 2}});
    EXPECT_FALSE(testing::startJob(targetOf(printer.url())));
    EXPECT_EQ(user.answered(), 1u);
    EXPECT_FALSE(printer.file("request-1.head"));
}

TEST_F(Dialogs, CertificateThatChangesAfterTheProbeFailsTheJob) {
    Peer printer("http_sink --certificate self-signed --then wrong-name");
    const DialogUser user({{kSecurityTitle, 1}});
    const auto connection = testing::startJob(targetOf(printer.url()));
    ASSERT_TRUE(connection);
    EXPECT_EQ(connection->lastError(),
              static_cast<std::uint32_t>(ERROR_INTERNET_SEC_CERT_CN_INVALID));
    EXPECT_EQ(user.answered(), 1u);
    EXPECT_FALSE(user.surprised());
    EXPECT_FALSE(printer.file("request-2.head"));
}

TEST_F(Dialogs, EachFaultOfACertificateIsAskedAbout) {
    for (const char* kind : {"expired", "wrong-name"}) {
        SCOPED_TRACE(kind);
        Peer printer(std::string("http_sink --certificate ") + kind);
        const std::vector<DialogAnswer> yes(3, {kSecurityTitle, 1});
        const DialogUser user(yes);
        EXPECT_TRUE(printDocument(targetOf(printer.url()), testDocument(3000)));
        EXPECT_GE(user.answered(), 1u);
        EXPECT_FALSE(user.surprised());
    }
}

/// A real server, and jobs as they are stored there.
class CupsDialogs : public Dialogs {
  protected:
    static PrintTarget withPassword(PrintTarget target, const char* password) {
        target.useAuthentication = 1;
        target.userName = "user";
        target.password = password;
        return target;
    }

    const std::string document = testDocument(3000);
};

TEST_F(CupsDialogs, ServerThatKnowsItsUsersTakesTheirJobs) {
    Peer server("cups_server --basic user:secret");
    const BasicAuthentication authentication;
    const DialogUser user({});
    EXPECT_TRUE(printDocument(withPassword(targetOf(server.url()), "secret"), document));
    EXPECT_FALSE(user.surprised());
    EXPECT_EQ(server.file("spool/d00001-001"), document);
}

TEST_F(CupsDialogs, PasswordThatOnlyJobsNeedIsSentAlongOrTheJobFails) {
    Peer server("cups_server --basic-jobs user:secret");
    const DialogUser user({});
    EXPECT_FALSE(printDocument(targetOf(server.url()), document));
    EXPECT_FALSE(server.file("spool/d*"));
    const BasicAuthentication authentication;
    EXPECT_TRUE(printDocument(withPassword(targetOf(server.url()), "secret"), document));
    EXPECT_FALSE(user.surprised()) << "nobody is asked for a job's password";
    EXPECT_EQ(server.file("spool/d00001-001"), document);
}

TEST_F(CupsDialogs, CertificateOfTheServersOwnIsAskedAbout) {
    Peer server("cups_server --certificate self-signed");
    {
        const DialogUser user({{kSecurityTitle, 2}});
        EXPECT_FALSE(printDocument(targetOf(server.url()), document));
        EXPECT_EQ(user.answered(), 1u);
    }
    EXPECT_FALSE(server.file("spool/d*"));
    const DialogUser user({{kSecurityTitle, 1}});
    EXPECT_TRUE(printDocument(targetOf(server.url()), document));
    EXPECT_EQ(user.answered(), 1u);
    EXPECT_FALSE(user.surprised());
    EXPECT_EQ(server.file("spool/d00001-001"), document);
}

TEST_F(CupsDialogs, ServerThatWantsEncryptionGetsNothingWithoutIt) {
    Peer server("cups_server --certificate self-signed");
    const DialogUser user({});
    for (const char* scheme : {"ipp", "http", "HTTPS", "ipps"})
        EXPECT_FALSE(printDocument(targetOf(server.url(scheme)), document)) << scheme;
    EXPECT_FALSE(user.surprised());
    EXPECT_FALSE(server.file("spool/d*"));
}

}  // namespace
}  // namespace velmora
