#include "velmoractl/certificate_store.h"

#include <windows.h>
// After windows.h.
#include <wincrypt.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>
#include <vector>

#include "platform/handle.h"
#include "velmoractl/text/console.h"
#include "velmoractl/text/fingerprint.h"

namespace velmora::ctl {
namespace {

/// CryptoAPI's handles are numbers.
struct Provider {
    HCRYPTPROV handle = 0;
    Provider() = default;
    Provider(const Provider&) = delete;
    Provider& operator=(const Provider&) = delete;
    ~Provider() {
        if (handle != 0) CryptReleaseContext(handle, 0);
    }
};
struct Hash {
    HCRYPTHASH handle = 0;
    Hash() = default;
    Hash(const Hash&) = delete;
    Hash& operator=(const Hash&) = delete;
    ~Hash() {
        if (handle != 0) CryptDestroyHash(handle);
    }
};

void closeStore(void* store) {
    CertCloseStore(store, 0);
}
void freeCertificate(PCCERT_CONTEXT certificate) {
    CertFreeCertificateContext(certificate);
}
using UniqueStore = UniqueHandle<void*, closeStore>;
using UniqueCertificate = UniqueHandle<PCCERT_CONTEXT, freeCertificate>;

/// CALG_SHA_256, which the headers define only for newer systems.
constexpr ALG_ID kSha256 = 0x800C;

CommandError storeError(const std::string& what, DWORD error) {
    return systemError(what + ": the computer's trusted roots", error,
                       "run the command as administrator");
}

/// What certlm.msc shows as the friendly name of a certificate that trustCertificate() has added.
constexpr wchar_t kMark[] = L"Trusted by velmoractl";

/// All trusted roots of the computer, whoever added them.
UniqueStore openRoots(DWORD access, const std::string& what) {
    UniqueStore store(CertOpenStore(CERT_STORE_PROV_SYSTEM_A, 0, 0,
                                    CERT_SYSTEM_STORE_LOCAL_MACHINE | access, "ROOT"));
    if (!store) throw storeError(what, GetLastError());
    return store;
}

/// Only those in the registry, where added ones are stored: neither those of policies nor those of
/// Windows itself. Deleting needs this store: Wine's store of all roots reports success and keeps
/// the certificate.
UniqueStore openStoredRoots(const std::string& what) {
    UniqueStore store(CertOpenStore(CERT_STORE_PROV_SYSTEM_REGISTRY_A, 0, 0,
                                    CERT_SYSTEM_STORE_LOCAL_MACHINE, "ROOT"));
    if (!store) throw storeError(what, GetLastError());
    return store;
}

void mark(PCCERT_CONTEXT certificate) {
    std::array<wchar_t, std::size(kMark)> text{};
    std::ranges::copy(kMark, text.begin());
    CRYPT_DATA_BLOB name{sizeof kMark, reinterpret_cast<BYTE*>(text.data())};
    CertSetCertificateContextProperty(certificate, CERT_FRIENDLY_NAME_PROP_ID, 0, &name);
}

bool isMarked(PCCERT_CONTEXT certificate) {
    std::array<wchar_t, std::size(kMark)> text{};
    DWORD size = sizeof text;
    return CertGetCertificateContextProperty(certificate, CERT_FRIENDLY_NAME_PROP_ID, text.data(),
                                             &size) &&
           size == sizeof kMark && std::ranges::equal(text, kMark);
}

std::span<const std::uint8_t> bytesOf(PCCERT_CONTEXT certificate) {
    return {certificate->pbCertEncoded, certificate->cbCertEncoded};
}

/// Null if there is none.
UniqueCertificate find(const UniqueStore& store, const std::string& sha256) {
    PCCERT_CONTEXT one = nullptr;
    // Each call frees the one before.
    while ((one = CertEnumCertificatesInStore(store.get(), one)) != nullptr) {
        if (sha256Of(bytesOf(one)) == sha256) return UniqueCertificate(one);
    }
    return {};
}

}  // namespace

std::string sha256Of(std::span<const std::uint8_t> bytes) {
    Provider provider;
    if (!CryptAcquireContextW(&provider.handle, nullptr, nullptr, PROV_RSA_AES,
                              CRYPT_VERIFYCONTEXT)) {
        return {};
    }
    Hash hash;
    if (!CryptCreateHash(provider.handle, kSha256, 0, 0, &hash.handle)) return {};
    std::array<BYTE, 32> digest{};
    DWORD size = digest.size();
    if (!CryptHashData(hash.handle, bytes.data(), static_cast<DWORD>(bytes.size()), 0) ||
        !CryptGetHashParam(hash.handle, HP_HASHVAL, digest.data(), &size, 0)) {
        return {};
    }
    return hexText(std::span(digest).first(size));
}

bool trustCertificate(std::span<const std::uint8_t> encoded, const std::string& what) {
    const std::string sha256 = sha256Of(encoded);
    {
        // Some systems store the changes when the store is closed.
        const UniqueStore store = openRoots(0, what);
        if (find(store, sha256)) return false;
        PCCERT_CONTEXT added = nullptr;
        if (!CertAddEncodedCertificateToStore(store.get(), X509_ASN_ENCODING, encoded.data(),
                                              static_cast<DWORD>(encoded.size()),
                                              CERT_STORE_ADD_NEW, &added)) {
            throw storeError(what, GetLastError());
        }
        const UniqueCertificate certificate(added);
        mark(added);
    }
    const UniqueStore stored = openRoots(CERT_STORE_READONLY_FLAG, what);
    if (find(stored, sha256)) return true;
    throw CommandError(ExitCode::failed, what, "the certificate has not been stored",
                       "look at the computer's trusted roots with certlm.msc");
}

Untrusted untrustCertificate(const std::string& sha256, bool any, const std::string& what) {
    {
        // Some systems store the changes when the store is closed.
        const UniqueStore store = openStoredRoots(what);
        UniqueCertificate found = find(store, sha256);
        if (!found) {
            const UniqueStore all = openRoots(CERT_STORE_READONLY_FLAG, what);
            return find(all, sha256) ? Untrusted::elsewhere : Untrusted::absent;
        }
        if (!any && !isMarked(found.get())) return Untrusted::notOurs;
        // It frees the certificate, whether it succeeds or not.
        if (!CertDeleteCertificateFromStore(found.release()))
            throw storeError(what, GetLastError());
    }
    const UniqueStore left = openRoots(CERT_STORE_READONLY_FLAG, what);
    if (!find(left, sha256)) return Untrusted::removed;
    throw CommandError(ExitCode::failed, what,
                       "the computer's trusted roots still hold the certificate",
                       "a policy may bring it; look at them with certlm.msc");
}

}  // namespace velmora::ctl
