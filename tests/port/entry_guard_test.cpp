#include "port/entry_guard.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

#include "port/xcv_client.h"

namespace velmora {
namespace {

/// Sets another code while the body is left, as closing a handle does.
struct Disturbance {
    ~Disturbance() { SetLastError(ERROR_INVALID_HANDLE); }
};

TEST(EntryGuard, ResultsPassUnchanged) {
    SetLastError(ERROR_CANCELLED);
    EXPECT_EQ(guardedEntry([] { return TRUE; }), TRUE);
    EXPECT_EQ(guardedEntry([] { return FALSE; }), FALSE);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_CANCELLED));
    EXPECT_EQ(guardedCall([]() -> DWORD { return ERROR_INVALID_PARAMETER; }),
              static_cast<DWORD>(ERROR_INVALID_PARAMETER));
}

TEST(EntryGuard, AnExceptionHasOneCodeWhateverTheKindOfEntry) {
    const auto noMemory = []() -> DWORD { throw std::bad_alloc(); };
    const auto refused = []() -> DWORD { throw XcvException(ERROR_ACCESS_DENIED); };
    const auto tooLong = []() -> DWORD { throw std::length_error("text"); };
    struct Case {
        DWORD (*body)();
        DWORD code;
    };
    for (const Case& one :
         {Case{noMemory, ERROR_NOT_ENOUGH_MEMORY}, Case{refused, ERROR_ACCESS_DENIED},
          Case{tooLong, ERROR_NOT_ENOUGH_MEMORY}}) {
        EXPECT_EQ(guardedCall(one.body), one.code);
        SetLastError(ERROR_SUCCESS);
        EXPECT_EQ(guardedEntry([&]() -> BOOL {
                      const Disturbance atTheEnd;
                      return one.body() == 0;
                  }),
                  FALSE);
        EXPECT_EQ(GetLastError(), one.code);
    }
}

}  // namespace
}  // namespace velmora
