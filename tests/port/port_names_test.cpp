#include "port/port_names.h"

#include <gtest/gtest.h>

namespace velmora::testing {
namespace {

using Names = std::vector<std::string>;

/// The ports that the spooler lists; one more after each call while `grows` is above 0.
std::vector<const char*> ports;
int grows = 0;
int questions = 0;

BOOL WINAPI enumPorts(char* server, DWORD level, BYTE* buffer, DWORD size, DWORD* needed,
                      DWORD* returned) {
    EXPECT_STREQ(server, "\\\\host");
    EXPECT_EQ(level, 1u);
    ++questions;
    *needed = static_cast<DWORD>(ports.size() * sizeof(PORT_INFO_1A));
    *returned = 0;
    const bool fits = *needed <= size;
    for (std::size_t i = 0; fits && i < ports.size(); ++i, ++*returned)
        reinterpret_cast<PORT_INFO_1A*>(buffer)[i].pName = const_cast<char*>(ports[i]);
    if (grows > 0) {
        --grows;
        ports.insert(ports.end(), 2, "new");
    }
    if (!fits) SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return fits;
}

BOOL WINAPI refuse(char*, DWORD, BYTE*, DWORD, DWORD*, DWORD*) {
    ++questions;
    SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
}

class PortNames : public ::testing::Test {
  protected:
    void SetUp() override {
        ports = {"LPT1:", "IPP"};
        grows = 0;
        questions = 0;
        spooler.enumPorts = &enumPorts;
    }

    SpoolerFunctions spooler{};
};

TEST_F(PortNames, AreThoseOfEveryPortThatHasOne) {
    ports = {"LPT1:", nullptr, "IPP", ""};
    EXPECT_EQ(spoolerPortNames(spooler, "\\\\host"), (Names{"LPT1:", "IPP", ""}));
    ports.clear();
    EXPECT_EQ(spoolerPortNames(spooler, "\\\\host"), Names());
}

TEST_F(PortNames, AreAskedForAgainWhenPortsWereAddedMeanwhile) {
    grows = 3;
    EXPECT_EQ(spoolerPortNames(spooler, "\\\\host").size(), 8u);
    EXPECT_GT(questions, 2);
}

TEST_F(PortNames, AreGivenUpWhenTheSpoolerRefusesOrNeverStopsGrowing) {
    grows = 1000;
    EXPECT_EQ(spoolerPortNames(spooler, "\\\\host"), Names());
    EXPECT_LT(questions, 20);
    questions = 0;
    spooler.enumPorts = &refuse;
    EXPECT_EQ(spoolerPortNames(spooler, "\\\\host"), Names());
    EXPECT_EQ(questions, 1);
}

}  // namespace
}  // namespace velmora::testing
