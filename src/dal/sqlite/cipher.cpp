// The key and the page format of encrypted file-store databases (cipher_p.h).
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <stdexcept>
#include <vector>

#include "cipher_p.h"

namespace zmdb::dal::sqlite::cipher {

namespace {

std::atomic<std::uint32_t> g_newFileIterations{0};

void PutBig32(std::uint8_t* at, std::uint32_t v) {
  for (int i = 3; i >= 0; --i, v >>= 8) at[i] = static_cast<std::uint8_t>(v & 0xFF);
}

std::uint32_t Big32(const std::uint8_t* at) {
  return (std::uint32_t{at[0]} << 24) | (std::uint32_t{at[1]} << 16) | (std::uint32_t{at[2]} << 8) |
         std::uint32_t{at[3]};
}

// Where the pieces of a page of `size` bytes lie.
struct Layout {
  std::size_t plain;   // bytes at the start left out of the ciphertext
  std::size_t sealed;  // end of the ciphertext: the nonce starts here
  std::size_t tag;
  std::size_t spare;
};

std::optional<Layout> LayoutOf(FileKind kind, std::uint64_t offset, std::size_t size) {
  const std::size_t plain = kind == FileKind::Main && offset == 0 ? kPlainHeader : 0;
  if (size < plain + static_cast<std::size_t>(kReserve) + 1) return std::nullopt;
  const std::size_t sealed = size - static_cast<std::size_t>(kReserve);
  return Layout{plain, sealed, sealed + kNonceSize, sealed + kNonceSize + kTagSize};
}

// What a page is bound to besides its contents: the file, the offset, the
// plain start of page 1 and the spare bytes.
std::vector<std::uint8_t> AssociatedData(FileKind kind, std::uint64_t offset, const Layout& l,
                                         std::span<const std::uint8_t> page) {
  std::vector<std::uint8_t> ad;
  ad.push_back(static_cast<std::uint8_t>(kind));
  for (int i = 7; i >= 0; --i) ad.push_back(static_cast<std::uint8_t>(offset >> (8 * i)));
  ad.insert(ad.end(), page.begin(), page.begin() + static_cast<std::ptrdiff_t>(l.plain));
  ad.insert(ad.end(), page.begin() + static_cast<std::ptrdiff_t>(l.spare), page.end());
  return ad;
}

struct CtxFree {
  void operator()(EVP_CIPHER_CTX* c) const { EVP_CIPHER_CTX_free(c); }
};
using Ctx = std::unique_ptr<EVP_CIPHER_CTX, CtxFree>;

// One GCM pass over the ciphertext part of a page, in place. Encrypting
// writes the tag; decrypting checks it and says whether it held.
bool Gcm(bool encrypt, const Key& key, const Layout& l, std::span<const std::uint8_t> ad,
         std::span<std::uint8_t> page) {
  Ctx ctx(EVP_CIPHER_CTX_new());
  if (!ctx) return false;
  std::uint8_t* const nonce = page.data() + l.sealed;
  std::uint8_t* const tag = page.data() + l.tag;
  std::uint8_t* const body = page.data() + l.plain;
  const int bodySize = static_cast<int>(l.sealed - l.plain);
  int n = 0;
  if (EVP_CipherInit_ex(ctx.get(), EVP_aes_256_gcm(), nullptr, key.bytes.data(), nonce,
                        encrypt ? 1 : 0) != 1 ||
      EVP_CipherUpdate(ctx.get(), nullptr, &n, ad.data(), static_cast<int>(ad.size())) != 1 ||
      EVP_CipherUpdate(ctx.get(), body, &n, body, bodySize) != 1) {
    return false;
  }
  if (encrypt) {
    return EVP_CipherFinal_ex(ctx.get(), body + n, &n) == 1 &&
           EVP_CIPHER_CTX_ctrl(ctx.get(), EVP_CTRL_GCM_GET_TAG, static_cast<int>(kTagSize), tag) ==
               1;
  }
  return EVP_CIPHER_CTX_ctrl(ctx.get(), EVP_CTRL_GCM_SET_TAG, static_cast<int>(kTagSize), tag) ==
             1 &&
         EVP_CipherFinal_ex(ctx.get(), body + n, &n) == 1;
}

}  // namespace

Key::~Key() {
  OPENSSL_cleanse(bytes.data(), bytes.size());
}

KeyRef DeriveKey(std::string_view password, std::span<const std::uint8_t, kSaltSize> salt,
                 std::uint32_t iterations) {
  auto key = std::make_shared<Key>();
  std::copy(salt.begin(), salt.end(), key->salt.begin());
  key->iterations = std::max<std::uint32_t>(iterations, 1);
  if (PKCS5_PBKDF2_HMAC(password.data(), static_cast<int>(password.size()), salt.data(),
                        static_cast<int>(salt.size()), static_cast<int>(key->iterations),
                        EVP_sha256(), static_cast<int>(kKeySize), key->bytes.data()) != 1) {
    throw std::runtime_error("The key could not be derived from the password.");
  }
  return key;
}

KeyRef NewKey(std::string_view password) {
  std::array<std::uint8_t, kSaltSize> salt{};
  if (RAND_bytes(salt.data(), static_cast<int>(salt.size())) != 1) {
    throw std::runtime_error("No random salt could be drawn.");
  }
  return DeriveKey(password, salt, NewFileIterations());
}

std::uint32_t NewFileIterations() {
  const std::uint32_t set = g_newFileIterations.load();
  return set ? set : kDefaultIterations;
}

void SetNewFileIterations(std::uint32_t iterations) {
  g_newFileIterations.store(iterations);
}

std::optional<FileHeader> ParseHeader(std::span<const std::uint8_t> head) {
  if (head.size() < kPlainHeader) return std::nullopt;
  FileHeader h;
  const std::uint32_t size = (std::uint32_t{head[16]} << 8) | head[17];
  h.pageSize = size == 1 ? 65536 : size;
  if (std::memcmp(head.data(), kSqliteMagic.data(), kSqliteMagic.size()) == 0) return h;
  // Page size a power of two from 512 to 65536, format versions 1 or 2, the
  // cipher's reserve, and SQLite's fixed payload fractions.
  const bool power =
      h.pageSize >= 512 && h.pageSize <= 65536 && (h.pageSize & (h.pageSize - 1)) == 0;
  const bool versions = (head[18] == 1 || head[18] == 2) && (head[19] == 1 || head[19] == 2);
  if (!power || !versions || head[20] != kReserve || head[21] != 64 || head[22] != 32 ||
      head[23] != 32) {
    return std::nullopt;
  }
  h.encrypted = true;
  std::copy(head.begin(), head.begin() + kSaltSize, h.salt.begin());
  return h;
}

void SealPage(const Key& key, FileKind kind, std::uint64_t offset, std::span<std::uint8_t> page) {
  const auto l = LayoutOf(kind, offset, page.size());
  if (!l) throw std::runtime_error("A page is too small to hold its seal.");
  std::fill(page.begin() + static_cast<std::ptrdiff_t>(l->spare), page.end(), std::uint8_t{0});
  if (l->plain) {
    std::copy(key.salt.begin(), key.salt.end(), page.begin());
    PutBig32(page.data() + l->spare, key.iterations);
  }
  if (RAND_bytes(page.data() + l->sealed, static_cast<int>(kNonceSize)) != 1 ||
      !Gcm(true, key, *l, AssociatedData(kind, offset, *l, page), page)) {
    throw std::runtime_error("A page could not be encrypted.");
  }
}

bool OpenPage(const Key& key, FileKind kind, std::uint64_t offset, std::span<std::uint8_t> page) {
  const auto l = LayoutOf(kind, offset, page.size());
  if (!l || !Gcm(false, key, *l, AssociatedData(kind, offset, *l, page), page)) return false;
  if (l->plain) std::copy(kSqliteMagic.begin(), kSqliteMagic.end(), page.begin());
  return true;
}

std::uint32_t IterationsOfPage1(std::span<const std::uint8_t> page) {
  if (page.size() < kSpareSize) return 0;
  return Big32(page.data() + page.size() - kSpareSize);
}

}  // namespace zmdb::dal::sqlite::cipher
