// Owners of what cJSON allocates.
#pragma once

#include <cjson/cJSON.h>

#include <memory>

namespace VeltrixDetail {

struct CJsonDelete {
    void operator()(cJSON* document) const { cJSON_Delete(document); }
    void operator()(char* text) const { cJSON_free(text); }
};

using JsonDocument = std::unique_ptr<cJSON, CJsonDelete>;
using JsonText = std::unique_ptr<char, CJsonDelete>;

}  // namespace VeltrixDetail
