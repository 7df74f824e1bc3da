#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "support/HubEngine.h"

namespace support {

/// A tool on a hub database of every engine.
class ToolTest : public ::testing::TestWithParam<MakeHubEngine> {
  protected:
    void SetUp() override {
        try {
            hub_ = GetParam()();
        } catch (const NoServer& none) {
            GTEST_SKIP() << none.what();
        }
    }
    bool onServer() const { return GetParam() != &makeSqliteHub; }

    std::unique_ptr<HubEngine> hub_;
};

inline std::string toolEngineName(const ::testing::TestParamInfo<MakeHubEngine>& test) {
    return test.param == &makeSqliteHub ? "Sqlite" : test.param == &makePostgresHub ? "Postgres" : "PooledPostgres";
}

} // namespace support
