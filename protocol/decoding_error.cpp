#include "protocol/decoding_error.h"

namespace ferncrest {

std::string_view DecodingError::description() const {
  switch (kind) {
    case Kind::missingKey:
    case Kind::nullValue:
      return "The request could not be read because data in it is missing.";
    case Kind::typeMismatch:
    case Kind::invalidJson:
      break;
  }
  return "The request could not be read because it is not in the correct format.";
}

}  // namespace ferncrest
