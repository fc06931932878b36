#pragma once
#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>
#include <string>

// Self-signed certificates made at start-up, so no key material lives in the repository.
struct KeyDeleter { void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); } };
struct CertDeleter { void operator()(X509* cert) const { X509_free(cert); } };
using KeyPtr = std::unique_ptr<EVP_PKEY, KeyDeleter>;
using CertPtr = std::unique_ptr<X509, CertDeleter>;

KeyPtr MakeKey();
// Names commonName only (no alternative names, which some clients match only as DNS names).
// Valid from validFromDays to validToDays relative to now; a CRL distribution point nobody
// serves leaves the revocation status uncheckable.
CertPtr MakeCertificate(EVP_PKEY* key, const std::string& commonName, long validFromDays,
                        long validToDays);
