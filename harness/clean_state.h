#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace velmora::testing {

/// Registry paths below HKEY_LOCAL_MACHINE when the settings file names no company.
inline const std::string kDefaultMonitorKey = "Software\\AppRegKey\\Ipp\\PortMonitor\\1.1";

std::string settingsFilePath();
void writeSettingsFile(const std::string& contents);
std::string readSettingsFile();

void writeRegistryBinary(const std::string& key, const std::string& value,
                         std::span<const std::byte> data);
/// Any type, any bytes.
void writeRegistryRaw(const std::string& key, const std::string& value, unsigned long type,
                      std::span<const std::byte> data);
/// The bytes of a value; empty if it does not exist.
std::vector<std::byte> readRegistry(const std::string& key, const std::string& value,
                                    unsigned long* type = nullptr);

/// Empties everything that the library stores, so that a test starts as on a fresh machine: the
/// registry below the default company and "VelmoraTest", and the settings file.
void cleanState();

/// For tests that store something. A Wine prefix serves one test after the other.
class CleanStateTest : public ::testing::Test {
  protected:
    void SetUp() override { cleanState(); }
    void TearDown() override { cleanState(); }
};

}  // namespace velmora::testing
