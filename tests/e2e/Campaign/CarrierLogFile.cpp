#include "tests/e2e/Campaign/CarrierLogFile.h"

#include <regex>
#include <sstream>

CarrierLogFile ReadCarrierLog(const Sandbox& files) {
    static const std::regex form(R"(\([0-9]+-[0-9]+-[0-9]+T[0-9]+:[0-9]+:[0-9]+\) - (.*))");
    CarrierLogFile log;
    std::istringstream text(files.Read(CarrierLogFile::kOldPath) + files.Read(CarrierLogFile::kPath));
    for (std::string line; std::getline(text, line);) {
        if (std::smatch parts; std::regex_match(line, parts, form)) {
            ++log.messages[parts[1]];
        } else {
            log.otherLines.push_back(line);
        }
    }
    return log;
}
