// From the fields of a data type to JSON text.
#pragma once

#include <Veltrix/VeltrixDataTypeBase.h>

#include <string>

namespace VeltrixDetail {

// One object without white space. Throws std::bad_alloc when memory is short, cJSON's included. A text ends at its
// first NUL.
std::string WriteJson(const VeltrixDataTypeBase& object);

}  // namespace VeltrixDetail
