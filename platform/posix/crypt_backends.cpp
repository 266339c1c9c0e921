// Set-up of OpenSSL's providers and of the gost engine. The objects are made
// once and deliberately never destroyed: OpenSSL tears its own state down at
// exit, and a destructor running after that would touch freed memory.
#define OPENSSL_SUPPRESS_DEPRECATED  // the gost engine is only reachable through the ENGINE interface

#include "platform/posix/crypt_backends.h"

#include <openssl/engine.h>
#include <openssl/err.h>
#include <openssl/obj_mac.h>
#include <openssl/provider.h>

namespace cmskit {
namespace posix {

namespace {

const int kGostDigestNids[] = {NID_id_GostR3411_94, NID_id_GostR3411_2012_256, NID_id_GostR3411_2012_512};

}  // namespace

const OpenSslLibrary& OpenSslLibrary::Get() {
  static const OpenSslLibrary* library = new OpenSslLibrary();
  return *library;
}

OpenSslLibrary::OpenSslLibrary() {
  context_ = OSSL_LIB_CTX_new();
  if (!context_) return;
  // Either provider may fail to load; then its ciphers are simply not found.
  OSSL_PROVIDER_load(context_, "default");
  OSSL_PROVIDER_load(context_, "legacy");
  ERR_clear_error();
}

CipherPtr OpenSslLibrary::FetchCipher(const CipherAlgorithm& algorithm) const {
  if (!context_ || !algorithm.openSslName) return nullptr;
  CipherPtr cipher(EVP_CIPHER_fetch(context_, algorithm.openSslName, nullptr));
  if (!cipher) ERR_clear_error();
  return cipher;
}

MdPtr OpenSslLibrary::FetchDigest(const char* name) const {
  if (!context_ || !name) return nullptr;
  MdPtr digest(EVP_MD_fetch(context_, name, nullptr));
  if (!digest) ERR_clear_error();
  return digest;
}

const GostEngine& GostEngine::Get() {
  static const GostEngine* engine = new GostEngine();
  return *engine;
}

GostEngine::GostEngine() {
  ENGINE* engine = ENGINE_by_id("gost");
  if (!engine) {
    ERR_clear_error();
    return;
  }
  if (!ENGINE_init(engine)) {
    ENGINE_free(engine);
    ERR_clear_error();
    return;
  }
  // Registered for their own algorithm identifiers only, so that GOST key
  // files parse and GOST keys decrypt; nothing else changes its implementation.
  const EVP_CIPHER* cipher = ENGINE_get_cipher(engine, NID_id_Gost28147_89);
  if (!cipher || !ENGINE_register_pkey_asn1_meths(engine) || !ENGINE_register_pkey_meths(engine)) {
    ENGINE_finish(engine);
    ENGINE_free(engine);
    ERR_clear_error();
    return;
  }
  engine_ = engine;
  cipher_ = cipher;
  // A digest the engine lacks is simply not available.
  for (size_t i = 0; i < sizeof(kGostDigestNids) / sizeof(kGostDigestNids[0]); ++i) {
    digests_[i] = ENGINE_get_digest(engine, kGostDigestNids[i]);
  }
  ERR_clear_error();
}

const EVP_MD* GostEngine::Digest(int nid) const {
  for (size_t i = 0; i < sizeof(kGostDigestNids) / sizeof(kGostDigestNids[0]); ++i) {
    if (kGostDigestNids[i] == nid) return digests_[i];
  }
  return nullptr;
}

}  // namespace posix
}  // namespace cmskit
