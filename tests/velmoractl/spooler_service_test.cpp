#include "velmoractl/setup/spooler_service.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace velmora::ctl {
namespace {

char office[] = "Office";
char lobby[] = "Lobby";
char report[] = "Report";

template <class T, std::size_t kCount>
BOOL give(const T (&list)[kCount], BYTE* area, DWORD size, DWORD* needed, DWORD* count) {
    *needed = sizeof list;
    *count = 0;
    if (size < sizeof list) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    std::memcpy(area, &list, sizeof list);
    *count = kCount;
    return TRUE;
}

BOOL WINAPI twoPrinters(DWORD, char*, DWORD, BYTE* area, DWORD size, DWORD* needed, DWORD* count) {
    PRINTER_INFO_2A list[2] = {};
    list[0].pPrinterName = office;
    list[1].pPrinterName = lobby;
    return give(list, area, size, needed, count);
}

BOOL WINAPI noPrinters(DWORD, char*, DWORD, BYTE*, DWORD, DWORD* needed, DWORD* count) {
    *needed = 0;
    *count = 0;
    return TRUE;
}

int openPrinters = 0;

BOOL WINAPI open(char* name, HANDLE* handle, PRINTER_DEFAULTSA*) {
    *handle = name;
    ++openPrinters;
    return TRUE;
}

BOOL WINAPI close(HANDLE) {
    --openPrinters;
    return TRUE;
}

/// Two in the first printer's queue, one of them without a name; the other queue cannot be read.
BOOL WINAPI jobsOfOffice(HANDLE printer, DWORD, DWORD, DWORD, BYTE* area, DWORD size, DWORD* needed,
                         DWORD* count) {
    if (std::strcmp(static_cast<const char*>(printer), office) != 0) return FALSE;
    JOB_INFO_1A list[2] = {};
    list[0].JobId = 7;
    list[0].pDocument = report;
    list[1].JobId = 8;
    return give(list, area, size, needed, count);
}

TEST(WaitingJobs, AreThoseOfAllPrintersThatCanBeAsked) {
    const std::vector<WaitingJob> jobs = waitingJobs("", {twoPrinters, open, jobsOfOffice, close});
    ASSERT_EQ(jobs.size(), 2u);
    EXPECT_EQ(jobs[0].printer, "Office");
    EXPECT_EQ(jobs[0].id, 7u);
    EXPECT_EQ(jobs[0].document, "Report");
    EXPECT_EQ(jobs[1].id, 8u);
    EXPECT_EQ(jobs[1].document, "");
    EXPECT_EQ(openPrinters, 0);
}

TEST(WaitingJobs, AreNoneWithoutAPrinter) {
    EXPECT_TRUE(waitingJobs("", {noPrinters, open, jobsOfOffice, close}).empty());
}

}  // namespace
}  // namespace velmora::ctl
