#include "VeltrixHAL/Identity.h"

#include "Common/Helper/RootedPath.h"
#include "Common/Logging/HalLog.h"

#include <cerrno>
#include <fstream>

int GetIdentityData(const std::string& fileName, HALInfo& info) {
    const std::string shownName = DisplayPath(fileName);
    std::ifstream file(fileName);
    if (!file.is_open()) {
        HalLog::PrintFileError(-EINVAL, "Could not open the identity file ('{}')!", shownName);
        HalLog::Critical("Could not open the identity file ('{}')!", shownName);
        return -EINVAL;
    }
    // 0xFF stands in no UTF-8 text, so this takes the whole file.
    std::string content;
    std::getline(file, content, '\xFF');
    file.close();
    if (!info.FromJson(content)) {
        HalLog::PrintFileError(-1, "Some or all parts of the identity were not parsed from ('{}')!", shownName);
        HalLog::Critical("Some or all parts of the identity were not parsed from ('{}')!", shownName);
        return -1;
    }
    return 0;
}
