#include "velmoractl/document_handover.h"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <string>
#include <vector>

#include "harness/wininet/import_patch.h"
#include "velmoractl/command_error.h"

namespace velmora::ctl {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using velmora::testing::ImportPatch;
using To = DocumentHandover::To;
using Calls = std::vector<std::string>;

constexpr DWORD kJob = 17;

/// A spooler that records its calls and blocks in the one that the test names.
struct Spooler {
    std::mutex mutex;
    std::condition_variable changed;
    Calls calls;
    std::string fails;        ///< the call that does
    std::string standsStill;  ///< the call that blocks until this is set to another one
    bool hasJob = true;

    bool call(const std::string& name) {
        std::unique_lock lock(mutex);
        calls.push_back(name);
        changed.notify_all();
        changed.wait(lock, [&] { return standsStill != name; });
        SetLastError(fails == name ? ERROR_ACCESS_DENIED : ERROR_SUCCESS);
        return fails != name;
    }
    void waitFor(const std::string& name) {
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return !calls.empty() && calls.back() == name; });
    }
    void goOn() {
        const std::lock_guard lock(mutex);
        standsStill.clear();
        changed.notify_all();
    }
    Calls all() {
        const std::lock_guard lock(mutex);
        return calls;
    }
};
Spooler* spooler = nullptr;

DWORD WINAPI startDoc(HANDLE, DWORD, BYTE*) {
    return spooler->call("start") ? kJob : 0;
}
BOOL WINAPI writeDoc(HANDLE, void*, DWORD size, DWORD* written) {
    const bool good = spooler->call("write " + std::to_string(size));
    *written = good ? size : 0;
    return good;
}
BOOL WINAPI endDoc(HANDLE) {
    return spooler->call("end");
}
BOOL WINAPI closePrinter(HANDLE) {
    return spooler->call("close");
}
BOOL WINAPI setJob(HANDLE, DWORD job, DWORD, BYTE*, DWORD command) {
    EXPECT_EQ(job, kJob);
    return spooler->call(command == JOB_CONTROL_PAUSE    ? "pause"
                         : command == JOB_CONTROL_RESUME ? "resume"
                                                         : "delete");
}
BOOL WINAPI getJob(HANDLE, DWORD, DWORD, BYTE*, DWORD, DWORD* needed) {
    *needed = spooler->hasJob ? 100 : 0;
    return FALSE;
}

template <class Function>
void (*plain(Function* function))() {
    return reinterpret_cast<void (*)()>(function);
}

class Handover : public ::testing::Test {
  protected:
    Handover() {
        spooler = &spooler_;
        std::ofstream(path_, std::ios::binary) << std::string(100000, 'x');
    }
    ~Handover() override { fs::remove(path_); }

    DocumentHandover begin(To to) {
        return {UniquePrinter(reinterpret_cast<HANDLE>(UINT_PTR{1})), to, "Title",
                std::ifstream(path_, std::ios::binary), "print"};
    }
    static DocumentHandover::Progress end(DocumentHandover& handover) {
        for (;;) {
            const auto progress = handover.wait(10s);
            if (progress.ended) return progress;
        }
    }
    /// The calls of a handover that is not stopped, and its error.
    std::pair<Calls, std::string> run(To to) {
        std::string error;
        {
            DocumentHandover handover = begin(to);
            try {
                EXPECT_EQ(end(handover).bytes, 100000u);
                handover.takePrinter();
            } catch (const CommandError& thrown) {
                error = thrown.why();
            }
        }
        return {spooler_.all(), error};
    }

    Spooler spooler_;
    const fs::path path_ = fs::temp_directory_path() / "velmora-document";

  private:
    ImportPatch start_{"winspool.drv", "StartDocPrinterA", plain(startDoc)};
    ImportPatch write_{"winspool.drv", "WritePrinter", plain(writeDoc)};
    ImportPatch end_{"winspool.drv", "EndDocPrinter", plain(endDoc)};
    ImportPatch close_{"winspool.drv", "ClosePrinter", plain(closePrinter)};
    ImportPatch setJob_{"winspool.drv", "SetJobA", plain(setJob)};
    ImportPatch getJob_{"winspool.drv", "GetJobA", plain(getJob)};
};

TEST_F(Handover, AQueuesJobIsPausedUntilItIsWhole) {
    EXPECT_EQ(
        run(To::queue),
        (std::pair(Calls{"start", "pause", "write 65536", "write 34464", "end", "resume", "close"},
                   std::string())));
}

TEST_F(Handover, APortIsWrittenToAsItIs) {
    EXPECT_EQ(
        run(To::port),
        (std::pair(Calls{"start", "write 65536", "write 34464", "end", "close"}, std::string())));
}

TEST_F(Handover, AQueuesJobThatFailsMidwayIsDeletedAndNotClosed) {
    spooler_.fails = "write 34464";
    const auto [calls, error] = run(To::queue);
    EXPECT_EQ(calls, (Calls{"start", "pause", "write 65536", "write 34464", "delete"}));
    EXPECT_NE(error.find("broken off after 65536 bytes"), std::string::npos) << error;
}

TEST_F(Handover, APortsDocumentThatFailsMidwayIsNeitherEndedNorClosed) {
    spooler_.fails = "write 34464";
    EXPECT_EQ(run(To::port).first, (Calls{"start", "write 65536", "write 34464"}));
}

TEST_F(Handover, AJobThatCannotBePausedGetsNoByte) {
    spooler_.fails = "pause";
    const auto [calls, error] = run(To::queue);
    EXPECT_EQ(calls, (Calls{"start", "pause", "delete"}));
    EXPECT_NE(error.find("does not let its job be paused"), std::string::npos) << error;
}

TEST_F(Handover, AJobThatDoesNotBeginIsToldSo) {
    spooler_.fails = "start";
    const auto [calls, error] = run(To::queue);
    EXPECT_EQ(calls, Calls{"start"});
    EXPECT_NE(error.find("cannot begin"), std::string::npos) << error;
}

TEST_F(Handover, AJobThatStaysPausedIsToldSoUnlessItIsGone) {
    spooler_.fails = "resume";
    EXPECT_NE(run(To::queue).second.find("stays paused"), std::string::npos);
    spooler_.hasJob = false;
    spooler_.calls.clear();
    EXPECT_EQ(run(To::queue).second, "");
}

TEST_F(Handover, GivingUpAQueuesJobDeletesIt) {
    for (const char* place : {"write 65536", "write 34464", "end"}) {
        SCOPED_TRACE(place);
        spooler_.calls.clear();
        spooler_.standsStill = place;
        {
            DocumentHandover handover = begin(To::queue);
            spooler_.waitFor(place);
            EXPECT_TRUE(handover.takeBack());
            EXPECT_TRUE(handover.takeBack()) << "asked again";
            EXPECT_EQ(spooler_.all().back(), "delete");
            spooler_.goOn();
            end(handover);
        }
        for (const std::string& call : spooler_.all())
            EXPECT_NE(call, "resume");
    }
}

TEST_F(Handover, GivingUpWhatIsWrittenToAPortEndsNothing) {
    spooler_.standsStill = "write 34464";
    {
        DocumentHandover handover = begin(To::port);
        spooler_.waitFor("write 34464");
        EXPECT_TRUE(handover.takeBack());
        spooler_.goOn();
        end(handover);
    }
    EXPECT_EQ(spooler_.all(), (Calls{"start", "write 65536", "write 34464"}));
}

TEST_F(Handover, WhatTheSpoolerHasWholeIsNotTakenBack) {
    for (const auto& [to, place] : {std::pair(To::port, "end"), std::pair(To::queue, "resume")}) {
        spooler_.calls.clear();
        spooler_.standsStill = place;
        DocumentHandover handover = begin(to);
        spooler_.waitFor(place);
        EXPECT_FALSE(handover.takeBack());
        spooler_.goOn();
        end(handover);
        if (to == To::queue) handover.takePrinter();
        for (const std::string& call : spooler_.all())
            EXPECT_NE(call, "delete");
    }
}

TEST_F(Handover, AJobThatIsGivenUpBeforeItBeginsIsDeletedWhenItDoes) {
    spooler_.standsStill = "start";
    {
        DocumentHandover handover = begin(To::queue);
        spooler_.waitFor("start");
        EXPECT_EQ(handover.wait(0ms).job, 0u);
        EXPECT_TRUE(handover.takeBack());
        spooler_.goOn();
        end(handover);
    }
    EXPECT_EQ(spooler_.all(), (Calls{"start", "delete"}));
}

TEST_F(Handover, TheNumberOfTheJobIsKnownWhileItIsWritten) {
    spooler_.standsStill = "write 34464";
    DocumentHandover handover = begin(To::port);
    spooler_.waitFor("write 34464");
    const auto progress = handover.wait(0ms);
    EXPECT_EQ(progress.job, kJob);
    EXPECT_EQ(progress.bytes, 65536u);
    EXPECT_FALSE(progress.ended);
    spooler_.goOn();
    end(handover);
    handover.takePrinter();
}

}  // namespace
}  // namespace velmora::ctl
