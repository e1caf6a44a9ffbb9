// The bus data types as a table, filled with arbitrary values and compared field by field.
#pragma once

#include "fuzz/Support/ByteSource.h"

#include <Veltrix/VeltrixDataTypeBase.h>

#include <cstddef>
#include <memory>

namespace Fuzz {

// One of the bus data types, all of its fields at their defaults; `index` counts round and round.
std::unique_ptr<VeltrixDataTypeBase> MakeBusObject(std::size_t index);

// Sets all required fields and some of the optional ones, to values that the JSON form can carry; texts are arbitrary
// bytes but no NUL.
void Fill(VeltrixDataTypeBase& object, ByteSource& source);

// Whether both hold the same; doubles to the bit. The two are of one class. `skipTexts` leaves texts out.
bool AreEqual(const VeltrixDataTypeBase& one, const VeltrixDataTypeBase& other, bool skipTexts);

}  // namespace Fuzz
