#pragma once
#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>
#include <string>
#include <vector>

// Self-signed certificates made at start-up, so no key material lives in the repository.
struct KeyDeleter { void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); } };
struct CertDeleter { void operator()(X509* cert) const { X509_free(cert); } };
using KeyPtr = std::unique_ptr<EVP_PKEY, KeyDeleter>;
using CertPtr = std::unique_ptr<X509, CertDeleter>;

KeyPtr MakeKey();
// The first name is the commonName; every name is an alternative name both as a DNS name and,
// when it is an IP address, as an IP address (clients differ in which kind they match).
// Valid from validFromDays to validToDays relative to now; a CRL distribution point nobody
// serves leaves the revocation status uncheckable.
CertPtr MakeCertificate(EVP_PKEY* key, const std::vector<std::string>& names, long validFromDays,
                        long validToDays);
