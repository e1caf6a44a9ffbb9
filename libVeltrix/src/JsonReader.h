// From JSON text to the fields of a data type.
#pragma once

#include <Veltrix/VeltrixDataTypeBase.h>

#include <string_view>

namespace VeltrixDetail {

// What VeltrixDataTypeBase::ReadJson does.
JsonReport ReadJson(std::string_view text, VeltrixDataTypeBase& object);

}  // namespace VeltrixDetail
