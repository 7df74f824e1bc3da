#pragma once

#include <cstdint>
#include <string>
#include <utility>

/// A volume snapshot.
class SMVolumeInfo {
  public:
    struct Values {
        std::int32_t id = 0;
        std::string sourcePath;
        std::int32_t creationTime = 0;
        std::int32_t mountStatus = 0;
        std::int32_t mountHostId = 0;
        std::string mountPath;
    };
    explicit SMVolumeInfo(Values values) : values_(std::move(values)) {}

    std::int32_t getSMVolumeId() const { return values_.id; }
    const std::string& getSourcePath() const { return values_.sourcePath; }
    /// Unix seconds, the low 32 bits.
    std::int32_t getCreationTime() const { return values_.creationTime; }
    /// 59: mounted.
    std::int32_t getMountStatus() const { return values_.mountStatus; }
    /// A client.
    std::int32_t getMountHostId() const { return values_.mountHostId; }
    const std::string& getMountPath() const { return values_.mountPath; }

  private:
    Values values_;
};
