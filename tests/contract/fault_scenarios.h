#pragma once

#include <windows.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <functional>
#include <limits>
#include <map>
#include <span>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "harness/failing_calls.h"
#include "tests/contract/machine_of_two_ports.h"

namespace velmora::testing {

// The built library on a machine in trouble: each of the platform calls that an entry makes fails
// in turn. The entry then does what is documented, the stored values are the old or the new ones,
// nothing leaks, and the same call succeeds once nothing fails any more.

/// The results that a call may have if something fails.
struct Documented {
    unsigned kinds;       ///< of faults, a set
    std::string outcome;  ///< "CODE" is replaced by the error of the call that failed
};

struct Scenario {
    std::string name;
    /// Brings the machine into the state from which the call starts. Nothing fails.
    std::function<void()> before;
    /// Calls the entry; returns its result in words.
    std::function<std::string()> call;
    /// The result if nothing fails, and those that are allowed whatever fails.
    std::string good;
    std::vector<Documented> documented;
    unsigned kinds = kEveryFault;
    /// Faults that are not reported to the caller: the new values may then be missing.
    unsigned silent = kRegistryFault;
    std::size_t step = 1;  ///< one of so many calls is tried
    /// If not 0: how many calls of each kind are tried instead; evenly spaced, the first and the
    /// last among them.
    std::size_t places = 0;
    bool changes = false;  ///< whether a success changes what is stored
    /// What is made once and kept was made by another scenario.
    bool warm = false;
    /// What a failed call may hold in addition to a successful one.
    HeldResources kept = {};
    /// Whether the next call starts from the same state instead of what the failed one has left.
    bool again = false;
    /// After so many failed calls the next successful one is tried.
    std::size_t nextCalls = 1;
};

/// How many calls of each kind were tried.
class TriedPlaces {
  public:
    void add(FaultKind kind) { ++tried_[nameOf(kind)]; }
    std::size_t all() const {
        std::size_t sum = 0;
        for (const auto& [kind, count] : tried_)
            sum += count;
        return sum;
    }
    void add(const TriedPlaces& others) {
        for (const auto& [kind, count] : others.tried_)
            tried_[kind] += count;
    }
    void print(const std::string& name) const {
        std::printf("%-44s %6zu places:", name.c_str(), all());
        for (const auto& [kind, count] : tried_)
            std::printf(" %s %zu", kind.c_str(), count);
        std::printf("\n");
        std::fflush(stdout);
    }
    /// Of the whole program.
    static TriedPlaces& total() {
        static TriedPlaces places;
        return places;
    }

  private:
    std::map<std::string, std::size_t> tried_;
};

/// `wanted` numbers below `count`, evenly spaced, the first and the last among them; all, if there
/// are no more.
inline std::vector<std::size_t> spaced(std::size_t count, std::size_t wanted) {
    const std::size_t size = std::min(count, wanted);
    std::vector<std::size_t> numbers;
    for (std::size_t i = 0; i < size; ++i)
        numbers.push_back(size == 1 ? 0 : i * (count - 1) / (size - 1));
    return numbers;
}

/// Adds the values of a key and of all keys below it, by their paths.
inline void readKey(const std::string& path, std::map<std::string, std::string>& found) {
    HKEY key = nullptr;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return;
    std::array<char, 256> name{};
    std::array<char, 2048> data{};
    for (DWORD index = 0;; ++index) {
        DWORD length = name.size(), size = data.size(), type = 0;
        if (RegEnumValueA(key, index, name.data(), &length, nullptr, &type,
                          reinterpret_cast<BYTE*>(data.data()), &size) != ERROR_SUCCESS)
            break;
        found[path + "\\" + name.data()] = std::string(data.data(), size);
    }
    for (DWORD index = 0; RegEnumKeyA(key, index, name.data(), name.size()) == ERROR_SUCCESS;
         ++index)
        readKey(path + "\\" + name.data(), found);
    RegCloseKey(key);
}

class FailingCallsTest : public MachineOfTwoPorts {
  protected:
    /// Values by their paths: of the registry and of the settings file.
    using State = std::map<std::string, std::string>;

    static void TearDownTestSuite() { TriedPlaces::total().print("all so far"); }

    void tryEverywhere(const Scenario& scenario) {
        SCOPED_TRACE(scenario.name);
        scenario.before();
        const State old = state();
        ASSERT_EQ(scenario.call(), scenario.good) << "nothing fails";
        const State wanted = state();
        // The first exception makes the runtime allocate what it then keeps.
        scenario.before();
        calls_.fail(0, kMemoryFault);
        scenario.call();
        calls_.succeed();
        const HeldResources usual = growthOf(scenario);
        if (scenario.changes) {
            EXPECT_NE(old, wanted);
        }
        TriedPlaces tried;
        const Trial trial{scenario, old, wanted, usual, tried};
        if (scenario.places == 0) {
            tryPlaces(trial, scenario.kinds, 0, scenario.step);
        } else {
            // Most calls are for memory; the others are not to drown in them.
            scenario.before();
            calls_.fail(kNever, kEveryFault);
            scenario.call();
            calls_.succeed();
            std::array<std::size_t, kFaultKinds> calls{};
            std::ranges::transform(kEachFault, calls.begin(), &FailingCalls::calls);
            for (std::size_t i = 0; i < kFaultKinds; ++i) {
                if ((scenario.kinds & kEachFault[i]) == 0) continue;
                for (const std::size_t index : spaced(calls[i], scenario.places))
                    tryPlaces(trial, kEachFault[i], index, 1, index + 1);
            }
        }
        EXPECT_GT(tried.all(), 0u);
        tried.print(scenario.name);
        TriedPlaces::total().add(tried);
    }

    static std::string words(BOOL result) {
        const DWORD code = GetLastError();
        if (result) return "TRUE";
        return code == kUntouched ? "FALSE" : "FALSE " + std::to_string(code);
    }

    /// The last error before a call whose own is checked.
    static constexpr DWORD kUntouched = 0xDEAD;

  private:
    static constexpr std::size_t kNever = std::numeric_limits<std::size_t>::max();

    struct Trial {
        const Scenario& scenario;
        const State& old;
        const State& wanted;
        const HeldResources& usual;
        TriedPlaces& tried;
    };

    /// The calls of those kinds from `index` on, every `step`th, up to the last one or up to `end`.
    void tryPlaces(const Trial& trial, unsigned kinds, std::size_t index, std::size_t step,
                   std::size_t end = kNever) {
        const Scenario& scenario = trial.scenario;
        for (; index < end; index += step) {
            scenario.before();
            const HeldResources before = FailingCalls::held();
            calls_.fail(index, kinds);
            const std::string outcome = scenario.call();
            const FailingCalls::Fault fault = calls_.succeed();
            if (fault.function == nullptr) {
                EXPECT_EQ(outcome, scenario.good) << "the last run, without a fault";
                return;
            }
            trial.tried.add(fault.kind);
            SCOPED_TRACE(std::string(fault.function) + " fails, call number " +
                         std::to_string(index));
            expectDocumented(scenario, fault, outcome);
            const bool stored = outcome == scenario.good && (scenario.silent & fault.kind) == 0;
            expectOldOrNew(state(), stored ? trial.wanted : trial.old, trial.wanted);
            if (trial.tried.all() % scenario.nextCalls != 0) continue;
            if (scenario.again) scenario.before();
            ASSERT_EQ(scenario.call(), scenario.good) << "the next call";
            expectOldOrNew(state(), trial.wanted, trial.wanted);
            expectNoLeak(FailingCalls::held(), before, trial.usual, scenario.kept);
        }
    }

    static State state() {
        State found;
        for (const char* name : {"\\Ports", "\\Printer groups", "\\Printers"})
            readKey(kDefaultMonitorKey + name, found);
        std::string section;
        std::istringstream lines(readSettingsFile());
        for (std::string line; std::getline(lines, line);) {
            if (line.starts_with('[')) section = line;
            const std::size_t sign = line.find('=');
            if (sign != line.npos) found[section + line.substr(0, sign)] = line.substr(sign + 1);
        }
        return found;
    }
    static std::string withCode(std::string text, DWORD code) {
        constexpr std::string_view kCode = "CODE";
        const std::size_t place = text.find(kCode);
        return place == text.npos ? text : text.replace(place, kCode.size(), std::to_string(code));
    }
    static void expectDocumented(const Scenario& scenario, const FailingCalls::Fault& fault,
                                 const std::string& outcome) {
        if (outcome == scenario.good) return;
        for (const Documented& documented : scenario.documented)
            if ((documented.kinds & fault.kind) != 0 &&
                withCode(documented.outcome, fault.code) == outcome)
                return;
        ADD_FAILURE() << "not documented: " << outcome;
    }
    /// Each value is the old or the new one, and missing only if the old or the new state lacks it.
    /// The settings file gets every text that is looked up.
    static void expectOldOrNew(const State& found, const State& old, const State& wanted) {
        State all = found;
        all.insert(old.begin(), old.end());
        all.insert(wanted.begin(), wanted.end());
        for (const auto& value : all) {
            const std::string& path = value.first;
            const auto is = [&](const State& other) {
                const auto a = found.find(path), b = other.find(path);
                return a == found.end() ? b == other.end()
                                        : b != other.end() && a->second == b->second;
            };
            const bool added = path.starts_with('[') && !old.contains(path);
            EXPECT_TRUE(added || is(old) || is(wanted)) << path << " is neither old nor new";
        }
    }

    /// What two calls in a row without a fault hold.
    HeldResources growthOf(const Scenario& scenario) {
        HeldResources growth;
        // Twice: what is made once is there the second time.
        for (int turn = scenario.warm ? 1 : 0; turn < 2; ++turn) {
            scenario.before();
            const HeldResources before = FailingCalls::held();
            scenario.call();
            if (scenario.again) scenario.before();
            scenario.call();
            growth = difference(FailingCalls::held(), before);
        }
        return growth;
    }
    static HeldResources difference(const HeldResources& a, const HeldResources& b) {
        return {a.keys - b.keys,         a.handles - b.handles, a.internet - b.internet,
                a.printers - b.printers, a.blocks - b.blocks,   a.threads - b.threads};
    }
    static void expectNoLeak(const HeldResources& now, const HeldResources& before,
                             const HeldResources& usual, const HeldResources& kept) {
        const HeldResources growth = difference(difference(now, before), usual);
        EXPECT_TRUE(growth.keys <= kept.keys && growth.handles <= kept.handles &&
                    growth.internet <= kept.internet && growth.printers <= kept.printers &&
                    growth.blocks <= kept.blocks && growth.threads <= kept.threads)
            << "kept more than usual: " << shown(growth);
    }

    FailingCalls calls_{dll_.module()};
};

}  // namespace velmora::testing
