#pragma once

#include <Veltrix/VeltrixErrorLog.h>
#include <cjson/cJSON.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include "Common/Configuration/Configuration.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/ScratchFolder.h"

// The store with its inside in view.
class OpenConfiguration : public Configuration {
public:
    using Configuration::Configuration;
    using Configuration::mFileOkay;
    using Configuration::mFileSpec;
    using Configuration::mp_cJson;
    using Configuration::NumberFrom;
};

// Files lie below the prefix that texts leave out: the file "settings.json" is shown as "/settings.json".
class ConfigurationFixture : public testing::Test {
protected:
    ConfigurationFixture() { VeltrixErrorLog::gVerbosity = 0; }
    ~ConfigurationFixture() override { VeltrixErrorLog::gVerbosity = 0; }

    // A store over a file with this text; what loading it logged is dropped.
    std::unique_ptr<OpenConfiguration> Over(const std::string& text) {
        auto store = std::make_unique<OpenConfiguration>(mFolder.Write("settings.json", text), false);
        mLog.Take();
        return store;
    }

    static std::string Printed(const std::function<void()>& action) {
        testing::internal::CaptureStdout();
        action();
        return testing::internal::GetCapturedStdout();
    }

    // The whole document in one line.
    static std::string Document(const OpenConfiguration& store) {
        const std::unique_ptr<char, decltype(&cJSON_free)> text(cJSON_PrintUnformatted(store.mp_cJson), &cJSON_free);
        return text == nullptr ? "null pointer" : text.get();
    }

    const ScratchFolder mFolder;
    const ScopedVariable mRoot{"VELTRIX_ROOT", mFolder.Path()};
    LogCapture mLog;
};
