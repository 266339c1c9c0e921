// Copying key-provider information in and out of certificate contexts.
#include "platform/posix/crypt_key_prov_info.h"

#include <cstring>
#include <cwchar>

namespace cmskit {
namespace posix {

namespace {

constexpr uint64_t kAlignment = 8;

uint64_t Aligned(uint64_t size) { return (size + kAlignment - 1) & ~(kAlignment - 1); }

uint64_t TextSize(const std::wstring& text) { return Aligned((text.size() + 1) * sizeof(WCHAR)); }

// Places `size` bytes at *offset in the flat buffer and moves past them.
BYTE* Place(BYTE* base, uint64_t* offset, uint64_t size) {
  BYTE* at = base + *offset;
  *offset += Aligned(size);
  return at;
}

LPWSTR PlaceText(BYTE* base, uint64_t* offset, const std::wstring& text) {
  BYTE* at = Place(base, offset, (text.size() + 1) * sizeof(WCHAR));
  std::memcpy(at, text.c_str(), (text.size() + 1) * sizeof(WCHAR));
  return reinterpret_cast<LPWSTR>(at);
}

}  // namespace

DWORD KeyProvInfo::Copy(const CRYPT_KEY_PROV_INFO& info, KeyProvInfo* copy) {
  if (info.cProvParam && !info.rgProvParam) return E_INVALIDARG;
  for (DWORD i = 0; i < info.cProvParam; ++i) {
    if (info.rgProvParam[i].cbData && !info.rgProvParam[i].pbData) return E_INVALIDARG;
  }
  KeyProvInfo result;
  result.hasContainer_ = info.pwszContainerName != nullptr;
  if (result.hasContainer_) result.container_ = info.pwszContainerName;
  result.hasProvName_ = info.pwszProvName != nullptr;
  if (result.hasProvName_) result.provName_ = info.pwszProvName;
  result.provType_ = info.dwProvType;
  result.flags_ = info.dwFlags;
  result.keySpec_ = info.dwKeySpec;
  for (DWORD i = 0; i < info.cProvParam; ++i) {
    const CRYPT_KEY_PROV_PARAM& param = info.rgProvParam[i];
    result.params_.push_back(
        Param{param.dwParam, param.dwFlags, std::vector<BYTE>(param.pbData, param.pbData + param.cbData)});
  }
  *copy = std::move(result);
  return 0;
}

uint64_t KeyProvInfo::FlatSize() const {
  uint64_t size =
      Aligned(sizeof(CRYPT_KEY_PROV_INFO)) + Aligned(params_.size() * sizeof(CRYPT_KEY_PROV_PARAM));
  for (const Param& param : params_) size += Aligned(param.data.size());
  if (hasContainer_) size += TextSize(container_);
  if (hasProvName_) size += TextSize(provName_);
  return size;
}

DWORD KeyProvInfo::Write(void* data, DWORD* length) const {
  if (!length) return E_INVALIDARG;
  const uint64_t size = FlatSize();
  if (size > UINT32_MAX) return NTE_BAD_LEN;
  const DWORD room = *length;
  *length = static_cast<DWORD>(size);
  if (!data) return 0;
  if (room < size) return ERROR_MORE_DATA;

  BYTE* base = static_cast<BYTE*>(data);
  uint64_t offset = Aligned(sizeof(CRYPT_KEY_PROV_INFO));
  CRYPT_KEY_PROV_INFO info = {};
  info.dwProvType = provType_;
  info.dwFlags = flags_;
  info.dwKeySpec = keySpec_;
  info.cProvParam = static_cast<DWORD>(params_.size());
  BYTE* paramArray = Place(base, &offset, params_.size() * sizeof(CRYPT_KEY_PROV_PARAM));
  if (!params_.empty()) info.rgProvParam = reinterpret_cast<PCRYPT_KEY_PROV_PARAM>(paramArray);
  for (size_t i = 0; i < params_.size(); ++i) {
    CRYPT_KEY_PROV_PARAM param = {};
    param.dwParam = params_[i].param;
    param.dwFlags = params_[i].flags;
    param.cbData = static_cast<DWORD>(params_[i].data.size());
    if (param.cbData) {
      param.pbData = Place(base, &offset, param.cbData);
      std::memcpy(param.pbData, params_[i].data.data(), param.cbData);
    }
    std::memcpy(paramArray + i * sizeof(param), &param, sizeof(param));
  }
  if (hasContainer_) info.pwszContainerName = PlaceText(base, &offset, container_);
  if (hasProvName_) info.pwszProvName = PlaceText(base, &offset, provName_);
  std::memcpy(base, &info, sizeof(info));
  return 0;
}

}  // namespace posix
}  // namespace cmskit
