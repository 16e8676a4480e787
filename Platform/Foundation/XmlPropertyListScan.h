#pragma once

#include <string>
#include <string_view>

namespace zn {

/// Looks over an XML property list before a parser sees it: elements must be those of property lists, properly nested
/// and no deeper than `Value::maximumReadDepth`; a document type may define nothing. Empty where all is well, else what
/// is wrong. Not installed API.
std::string problemOfXmlPropertyList(std::string_view text);

}  // namespace zn
