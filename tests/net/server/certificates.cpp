#include "certificates.h"

#include <openssl/rand.h>
#include <openssl/rsa.h>
#include <openssl/x509v3.h>

KeyPtr MakeKey() { return KeyPtr(EVP_RSA_gen(2048)); }

CertPtr MakeCertificate(EVP_PKEY* key, const std::vector<std::string>& names, long validFromDays,
                        long validToDays) {
  const std::string& commonName = names.front();
  std::string altNames;
  for (const std::string& n : names) {
    if (!altNames.empty()) altNames += ",";
    altNames += "DNS:" + n;
    if (n.find_first_not_of("0123456789.") == std::string::npos) altNames += ",IP:" + n;
  }
  CertPtr cert(X509_new());
  X509* c = cert.get();
  X509_set_version(c, 2);
  unsigned char serial[8];
  RAND_bytes(serial, sizeof serial);
  serial[0] &= 0x7f;
  BIGNUM* bn = BN_bin2bn(serial, sizeof serial, nullptr);
  BN_to_ASN1_INTEGER(bn, X509_get_serialNumber(c));
  BN_free(bn);
  X509_gmtime_adj(X509_getm_notBefore(c), validFromDays * 86400);
  X509_gmtime_adj(X509_getm_notAfter(c), validToDays * 86400);
  X509_set_pubkey(c, key);
  X509_NAME* name = X509_get_subject_name(c);
  X509_NAME_add_entry_by_txt(name, "O", MBSTRING_ASC,
                             reinterpret_cast<const unsigned char*>("orinpoint tests"), -1, -1, 0);
  X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                             reinterpret_cast<const unsigned char*>(commonName.c_str()), -1, -1, 0);
  X509_set_issuer_name(c, name);
  X509V3_CTX ctx;
  X509V3_set_ctx_nodb(&ctx);
  X509V3_set_ctx(&ctx, c, c, nullptr, nullptr, 0);
  for (auto [nid, value] : {std::pair<int, const char*>{NID_basic_constraints, "critical,CA:FALSE"},
                            {NID_key_usage, "critical,digitalSignature,keyEncipherment"},
                            {NID_ext_key_usage, "serverAuth"},
                            {NID_subject_alt_name, altNames.c_str()},
                            {NID_crl_distribution_points, "URI:http://127.0.0.1:9/none.crl"}}) {
    X509_EXTENSION* ext = X509V3_EXT_conf_nid(nullptr, &ctx, nid, value);
    if (ext != nullptr) {
      X509_add_ext(c, ext, -1);
      X509_EXTENSION_free(ext);
    }
  }
  X509_sign(c, key, EVP_sha256());
  return cert;
}
