#include <Veltrix/VeltrixDataTypeBase.h>

#include <exception>

#include "libVeltrix/src/JsonReader.h"
#include "libVeltrix/src/JsonWriter.h"

std::string VeltrixDataTypeBase::ToJson() const noexcept {
    try {
        return VeltrixDetail::WriteJson(*this);
    } catch (const std::exception&) {
        return {};  // out of memory; an empty payload counts as {}
    }
}

bool VeltrixDataTypeBase::FromJson(const std::string& text) {
    return ReadJson(text).isComplete;
}

JsonReport VeltrixDataTypeBase::ReadJson(std::string_view text) {
    return VeltrixDetail::ReadJson(text, *this);
}
