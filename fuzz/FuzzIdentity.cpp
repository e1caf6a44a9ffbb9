// The identity file: what stands in it, up to the first byte 0xFF, is read as the platform's own reader reads it; what
// it lacks stays as it was.
#include "VeltrixHAL/Identity.h"
#include "fuzz/Support/ByteSource.h"
#include "fuzz/Support/Check.h"
#include "fuzz/Support/Surroundings.h"

#include <cerrno>

namespace {

HALInfo InfoBefore() {
    HALInfo info;
    info.set_serialNumber("serial before");
    info.set_machineType("type before");
    info.set_revisionNumber(4'000'000'000U);
    return info;
}

void CheckMissingFile(const std::string& file) {
    HALInfo info = InfoBefore();
    FUZZ_CHECK(GetIdentityData(file, info) == -EINVAL);
    FUZZ_CHECK(info.ToJson() == InfoBefore().ToJson());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string content = Fuzz::ByteSource(data, size).RestText();
    const std::string file = Fuzz::Root() + kDefaultIdentityFile;
    Fuzz::RemoveRooted(kDefaultIdentityFile);
    CheckMissingFile(file);
    Fuzz::WriteRootedFile(kDefaultIdentityFile, content);
    HALInfo expected = InfoBefore();
    const JsonReport report = expected.ReadJson(content.substr(0, content.find('\xFF')));
    HALInfo info = InfoBefore();
    FUZZ_CHECK(GetIdentityData(file, info) == (report.isComplete ? 0 : -1));
    FUZZ_CHECK(info.get_serialNumber() == expected.get_serialNumber());
    FUZZ_CHECK(info.get_machineType() == expected.get_machineType());
    FUZZ_CHECK(info.get_revisionNumber() == expected.get_revisionNumber());
    return 0;
}
