#include <cstring>

#include "cmskit/sign_data.h"

namespace cmskit {

ToSignStruct::ToSignStruct() { std::memset(static_cast<void*>(this), 0, sizeof(*this)); }

ToSignStruct::ToSignStruct(const ToSignStruct& other) { *this = other; }

// Word by word: the pointer travels, what it points to is neither copied nor
// freed.
ToSignStruct& ToSignStruct::operator=(const ToSignStruct& other) {
  if (this != &other) std::memcpy(static_cast<void*>(this), &other, sizeof(*this));
  return *this;
}

}  // namespace cmskit
