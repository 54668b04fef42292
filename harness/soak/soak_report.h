#pragma once

#include <windows.h>

#include <tlhelp32.h>

#include <chrono>
#include <fstream>
#include <mutex>
#include <string>

#include "harness/handle_count.h"
#include "harness/process_resources.h"

namespace velmora::testing {

/// The files in which a run records what it does, line by line, from every thread:
///
///   jobs.csv       a job, after its end
///   samples.csv    what the process holds
///   actions.csv    what was done besides printing
///   findings.txt   what must not be
class SoakReport {
  public:
    explicit SoakReport(const std::string& directory)
        : jobs_(directory + "\\jobs.csv"),
          samples_(directory + "\\samples.csv"),
          actions_(directory + "\\actions.csv"),
          findings_(directory + "\\findings.txt"),
          start_(std::chrono::steady_clock::now()) {
        jobs_ << "begin,end,id,port,size,buffer,given,written,tries,started,failed,targets\n";
        samples_ << "time,at rest,committed,heap,handles,threads,slots\n";
        actions_ << "time,action,object\n";
    }

    /// Milliseconds since this object was made.
    unsigned long long now() const {
        return std::chrono::duration_cast<std::chrono::milliseconds>(
                   std::chrono::steady_clock::now() - start_)
            .count();
    }

    void job(const std::string& line) { write(jobs_, line); }
    void action(const char* what, const std::string& object) {
        write(actions_, std::to_string(now()) + "," + what + "," + object);
    }
    void finding(const std::string& what) {
        write(findings_, std::to_string(now()) + " ms: " + what);
    }
    /// `atRest`: nobody prints and the library is not loaded.
    void sample(bool atRest) {
        // One thread must not see what another one needs.
        const std::lock_guard lock(sampling_);
        const ProcessResources held = processResources();
        const std::size_t heap = usedHeapBytes();
        const std::size_t handles = handleCount();
        write(samples_, std::to_string(now()) + (atRest ? ",1," : ",0,") +
                            std::to_string(held.bytes) + "," + std::to_string(heap) + "," +
                            std::to_string(handles) + "," + std::to_string(threadCount()) + "," +
                            std::to_string(held.slot));
    }

  private:
    static int threadCount() {
        const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
        THREADENTRY32 entry{};
        entry.dwSize = sizeof entry;
        int count = 0;
        for (BOOL more = Thread32First(snapshot, &entry); more;
             more = Thread32Next(snapshot, &entry))
            count += entry.th32OwnerProcessID == GetCurrentProcessId();
        CloseHandle(snapshot);
        return count;
    }

    void write(std::ofstream& file, const std::string& line) {
        const std::lock_guard lock(mutex_);
        file << line << std::endl;
    }

    std::mutex mutex_;
    std::mutex sampling_;
    std::ofstream jobs_;
    std::ofstream samples_;
    std::ofstream actions_;
    std::ofstream findings_;
    std::chrono::steady_clock::time_point start_;
};

}  // namespace velmora::testing
