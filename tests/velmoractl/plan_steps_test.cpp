#include "velmoractl/text/plan_steps.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <set>

#include "harness/empty_directory.h"
#include "harness/latin1_codec.h"
#include "port/port_config.h"
#include "velmoractl/command_error.h"
#include "velmoractl/text/configuration_file.h"
#include "velmoractl/text/directory_paths.h"
#include "velmoractl/text/lower_case.h"
#include "velmoractl/text/selection.h"

namespace velmora::ctl {
namespace {

using testing::latin1Codec;

using ::testing::HasSubstr;

constexpr char kWhat[] = "the verb";

PortConfig port(const std::string& name, const std::string& url, unsigned copies = 1) {
    PortConfig config;
    config.name = name;
    config.singleTarget = 1;
    config.printer = {url, true, "user", "old"};
    config.jobTemplate.copies = copies;
    return config;
}

/// How calls fail, from this number on, counted from 1; 0: none fails.
struct Faults {
    unsigned from = 0;
    bool lasting = false;  ///< and all calls after that one
    bool done = false;     ///< the call takes effect all the same
};

/// Ports, queues and directory, and calls that fail.
class FakeServer : public Configured {
  public:
    CGroupsDB directory = testing::emptyDirectory();
    std::map<std::string, PortConfig> ports;
    std::map<std::string, QueueDescription> queues;
    Faults faults;
    unsigned calls = 0;
    std::size_t done = 0;
    std::size_t endsAfter = 1000;  ///< steps until the user ends it
    bool lineEnded = false;        ///< no progress is shown any more
    /// Queues that cannot be made to print to a port, by their names.
    std::map<std::string, std::string> stuckQueues;

    void changeDirectory(const std::function<void(CGroupsDB&)>& change) override {
        call([&] { change(directory); });
    }
    bool hasPort(const std::string& name) override {
        bool found = false;
        call([&] { found = ports.contains(name); });
        return found;
    }
    void addPort(const PortConfig& port) override {
        // A caller that makes a port removes it if that reports a failure.
        if (failing()) fail();
        for (const auto& [name, one] : ports)
            EXPECT_NE(folding()(name), folding()(port.name)) << "one name to Windows";
        for (const std::uint32_t id : port.targetIds)
            EXPECT_NE(directory.FindGroup(id), nullptr) << port.name << " names it already";
        ports.emplace(port.name, port);
    }
    void changePort(const PortConfig& port) override {
        call([&] {
            EXPECT_TRUE(ports.contains(port.name)) << port.name;
            ports[port.name] = port;
        });
    }
    void removePort(const std::string& name) override {
        call([&] { ports.erase(name); });
    }
    void addQueue(const QueueDescription& queue) override {
        if (failing()) fail();
        EXPECT_TRUE(queues.emplace(queue.name, queue).second) << queue.name;
    }
    void changeQueue(const QueueDescription& queue) override {
        if (stuckQueues.contains(queue.name) && queue.port == stuckQueues.at(queue.name)) fail();
        call([&] { queues[queue.name] = queue; });
    }
    void removeQueue(const std::string& name) override {
        call([&] { queues.erase(name); });
    }
    FoldName folding() const override {
        return [](std::string name) { return lowerCase(std::move(name)); };
    }
    bool ended() override { return done >= endsAfter; }
    void progress(std::size_t steps) override {
        EXPECT_FALSE(lineEnded);
        done = steps;
    }
    void noMoreProgress() override { lineEnded = true; }

    /// The next run.
    void restart(const Faults& next) {
        faults = next;
        calls = 0;
        done = 0;
        lineEnded = false;
    }

    /// No queue may print to a port that does not exist.
    void expectNothingLost() const {
        for (const auto& [name, queue] : queues) {
            for (const std::string& used : portsOfQueue(queue.port))
                EXPECT_TRUE(ports.contains(used)) << name << " prints to " << used;
        }
    }

    std::vector<PortConfig> allPorts() const {
        std::vector<PortConfig> result;
        for (const auto& [name, one] : ports)
            result.push_back(one);
        return result;
    }
    std::vector<QueueDescription> allQueues() const {
        std::vector<QueueDescription> result;
        for (const auto& [name, one] : queues)
            result.push_back(one);
        return result;
    }

  private:
    bool failing() {
        ++calls;
        return faults.from != 0 &&
               (calls == faults.from || (faults.lasting && calls > faults.from));
    }
    [[noreturn]] static void fail() {
        throw CommandError(ExitCode::failed, "a step", "it fails", "mend it");
    }
    template <class Body>
    void call(Body&& body) {
        const bool fails = failing();
        if (!fails || faults.done) body();
        if (fails) fail();
    }
};

/// Runs with the first, second, third ... call failing, in each way that calls fail, until none
/// does. `make` fills a server; `run` is the command; `check` sees the server after a run that has
/// failed, and the message. Each time the same command again must bring what `wanted` expects.
template <class Run, class Check, class Wanted>
void failAtEveryCall(void (*make)(FakeServer&), Run run, Check check, Wanted wanted) {
    unsigned failures = 0;
    for (const bool lasting : {false, true}) {
        for (const bool done : {false, true}) {
            for (unsigned call = 1;; ++call) {
                SCOPED_TRACE("call " + std::to_string(call) +
                             (lasting ? ", and all after it" : "") +
                             (done ? ", which has been done" : ""));
                FakeServer server;
                make(server);
                server.restart({call, lasting, done});
                std::optional<std::string> message;
                try {
                    run(server);
                } catch (const CommandError& error) {
                    message = error.what();
                }
                server.expectNothingLost();
                if (message) {
                    ++failures;
                    EXPECT_TRUE(server.lineEnded || !server.done);
                    EXPECT_THAT(*message, ::testing::StartsWith(kWhat));
                    EXPECT_THAT(*message, HasSubstr("it fails"));
                    check(server, *message);
                    server.restart({});
                    run(server);
                    server.expectNothingLost();
                }
                wanted(server);
                if (server.calls < call && !message) break;
            }
        }
    }
    EXPECT_GT(failures, 0u);
}

void office(FakeServer& server) {
    server.ports["Old"] = port("Old", "ipp://old/");
    server.ports["Else"] = port("Else", "ipp://else/");
    server.queues["Q1"] = {"Q1", "Old", "D", "share", "Room 1", "comment"};
    server.queues["Q2"] = {"Q2", "Else,Old", "D", "", "", ""};
    server.queues["Q3"] = {"Q3", "Else", "D", "", "", ""};
    server.directory.AddGroup("Gone", kRootGroup);
}

/// The data and changes of "port rename".
void rename(FakeServer& server) {
    if (!server.ports.contains("Old") && server.ports.contains("New")) return;
    const PortConfig before = server.ports["Old"];
    PortRename step{before, "New", server.ports.contains("New"), {}};
    for (const QueueDescription& queue : server.allQueues()) {
        const auto ports = portsOfQueue(queue.port);
        if (std::ranges::find(ports, "Old") != ports.end()) step.queues.push_back(queue);
    }
    carryOut(server, step, latin1Codec(), kWhat);
}

TEST(PlanSteps, ARenamingThatFailsAnywhereIsTakenBackOrNamed) {
    FakeServer before;
    office(before);
    failAtEveryCall(
        office, rename,
        [&](const FakeServer& server, const std::string& message) {
            const bool same = server.ports == before.ports && server.queues == before.queues;
            if (message.find("could not be taken back") == std::string::npos &&
                message.find("cannot be told") == std::string::npos) {
                EXPECT_TRUE(same) << message;
                EXPECT_THAT(message, ::testing::AnyOf(HasSubstr("nothing has been changed"),
                                                      HasSubstr("has been taken back")));
            }
            // Objects that exist under the new name are named.
            if (server.ports.contains("New")) {
                EXPECT_THAT(message, HasSubstr("\"New\""));
            }
            EXPECT_THAT(message, HasSubstr("the same command again"));
            for (const char* name : {"Old", "New"}) {
                if (!server.ports.contains(name)) continue;
                EXPECT_EQ(server.ports.at(name).printer.url, "ipp://old/");
            }
        },
        [&](const FakeServer& server) {
            EXPECT_FALSE(server.ports.contains("Old"));
            EXPECT_EQ(server.ports.at("New").printer, before.ports.at("Old").printer);
            EXPECT_EQ(server.queues.at("Q1").port, "New");
            EXPECT_EQ(server.queues.at("Q1").location, "Room 1");
            EXPECT_EQ(server.queues.at("Q2").port, "Else,New");
            EXPECT_EQ(server.queues.at("Q3"), before.queues.at("Q3"));
        });
}

/// The data and changes of "import --remove-others": "Old" is removed and its queues move to "New",
/// one port and one queue are new, one queue is removed.
void import(FakeServer& server) {
    Configuration wanted;
    wanted.hasPorts = wanted.hasQueues = true;
    wanted.ports = {port("Else", "ipp://else/", 2), port("New", "ipp://new/")};
    wanted.directory = std::make_unique<CGroupsDB>(testing::emptyDirectory());
    wanted.ports[1].singleTarget = 0;
    wanted.ports[1].targetIds = {wanted.directory->AddGroup("Floor", kRootGroup)->id};
    wanted.queues = {{"Q1", "New", "D", "", "", ""},
                     {"Q2", "Else", "D", "", "", ""},
                     {"Q4", "New", "D", "", "", ""}};
    std::set<std::string> ours;
    for (const auto& [name, one] : server.ports)
        ours.insert(name);
    const Removal removal{true, true, true, true};
    const ConfigurationPlan plan =
        planImport(wanted, server.allPorts(), server.directory, removal, latin1Codec());
    const QueuePlan queues =
        planQueues(wanted.queues, server.allQueues(), ours, true, latin1Codec());
    carryOut(server, plan, queues, true, kWhat, "import the file again");
}

/// How many of the message's steps are done.
std::size_t toldDone(const std::string& message) {
    const std::size_t of = message.find(" of ");
    const std::size_t begin = message.rfind(' ', of - 1) + 1;
    return std::stoul(message.substr(begin, of - begin));
}

TEST(PlanSteps, AnImportThatFailsAnywhereLosesNothingAndGoesOn) {
    failAtEveryCall(
        office, import,
        [](const FakeServer& server, const std::string& message) {
            EXPECT_EQ(toldDone(message), server.done);
            EXPECT_THAT(message, HasSubstr("ports and queues are done"));
            EXPECT_THAT(message, HasSubstr("import the file again"));
        },
        [](const FakeServer& server) {
            EXPECT_EQ(server.ports.size(), 2u);
            EXPECT_EQ(server.ports.at("Else").jobTemplate.copies, 2u);
            EXPECT_EQ(server.ports.at("New").printer.url, "ipp://new/");
            EXPECT_EQ(server.queues.size(), 3u);
            EXPECT_EQ(server.queues.at("Q1").port, "New");
            EXPECT_EQ(server.queues.at("Q2").port, "Else");
            EXPECT_EQ(server.queues.at("Q4").port, "New");
            EXPECT_EQ(server.directory.nodes().size(), 2u);
            EXPECT_NE(findNode(server.directory, "Floor"), nullptr);
            EXPECT_EQ(findNode(server.directory, "Gone"), nullptr);
            EXPECT_TRUE(server.lineEnded);
        });
}

/// The message of a plan that the server ends or refuses.
std::string messageOf(FakeServer& server, const ConfigurationPlan& plan, const QueuePlan& queues,
                      bool hasDirectory = false) {
    try {
        carryOut(server, plan, queues, hasDirectory, kWhat, "go on");
    } catch (const CommandError& error) {
        EXPECT_TRUE(server.lineEnded);
        return error.what();
    }
    return "none";
}

TEST(PlanSteps, AnErrorSaysWhatIsDoneOfWhat) {
    ConfigurationPlan plan;
    plan.portsToAdd = {port("A", "ipp://a/"), port("B", "ipp://b/")};
    FakeServer server;
    server.faults.from = 2;
    EXPECT_EQ(messageOf(server, plan, {}),
              "the verb, a step: it fails; 1 of 2 ports are done; mend it; then go on");
    QueuePlan queues;
    const QueueDescription queue{"Q", "A", "D", "", "", ""};
    const auto first = [&] {
        FakeServer fails;
        fails.faults.from = 1;
        return messageOf(fails, plan, queues);
    };
    const char* const both =
        "the verb, a step: it fails; 0 of 3 ports and queues are done; mend it; then go on";
    queues.toAdd = {queue};
    EXPECT_EQ(first(), both);
    queues = {};
    queues.toChange = {queue};
    EXPECT_EQ(first(), both);
    queues = {};
    queues.toRemove = {"Q"};
    EXPECT_EQ(first(), both);
    FakeServer noDirectory;
    noDirectory.faults.from = 1;
    EXPECT_EQ(messageOf(noDirectory, plan, {}, true),
              "the verb, a step: it fails; 0 of 2 ports are done, the groups and printers may not "
              "be there; mend it; then go on");
    FakeServer ended;
    ended.endsAfter = 1;
    EXPECT_EQ(messageOf(ended, plan, {}),
              "the verb: you have ended it; 1 of 2 ports are done; go on");
    EXPECT_EQ(ended.ports.size(), 1u);
}

TEST(PlanSteps, EveryChangeIsAStep) {
    ConfigurationPlan plan;
    plan.portsToAdd.resize(1);
    plan.portsToChange.resize(2);
    plan.portsToRemove.resize(4);
    QueuePlan queues;
    queues.toAdd.resize(8);
    queues.toChange.resize(16);
    queues.toRemove.resize(32);
    EXPECT_EQ(stepsOf(plan, queues), 63u);
}

TEST(PlanSteps, APortWhoseNameComesInOtherLettersGoesFirst) {
    FakeServer server;
    server.ports["office"] = port("office", "ipp://old/");
    server.ports["Rest"] = port("Rest", "ipp://rest/");
    ConfigurationPlan plan;
    plan.portsToAdd = {port("OFFICE", "ipp://new/")};
    plan.portsToRemove = {"Rest", "office"};
    EXPECT_EQ(messageOf(server, plan, {}), "none");
    ASSERT_EQ(server.ports.size(), 1u);
    EXPECT_EQ(server.ports.at("OFFICE").printer.url, "ipp://new/");
    EXPECT_EQ(server.done, 3u);
}

std::string renameMessage(FakeServer& server) {
    try {
        rename(server);
    } catch (const CommandError& error) {
        return error.what();
    }
    return "none";
}

TEST(PlanSteps, ARenamingWhoseLastStepFailsIsTakenBackWhole) {
    FakeServer before;
    office(before);
    FakeServer server;
    office(server);
    server.faults.from = 4;  // a port and two queues, then the old port
    EXPECT_EQ(renameMessage(server),
              "the verb, a step: it fails; what was done before has been taken back; mend it; then "
              "run the same command again");
    EXPECT_EQ(server.ports, before.ports);
    EXPECT_EQ(server.queues, before.queues);
}

TEST(PlanSteps, APortStaysForTheQueueThatCannotGoBack) {
    for (const char* const stuck : {"Q1", "Q2"}) {
        SCOPED_TRACE(stuck);
        FakeServer server;
        office(server);
        server.faults.from = 4;
        server.stuckQueues = {{stuck, server.queues.at(stuck).port}};
        EXPECT_THAT(renameMessage(server),
                    HasSubstr(std::string("could not be taken back: the queue \"") + stuck));
        server.expectNothingLost();
        EXPECT_TRUE(server.ports.contains("New"));
        EXPECT_TRUE(server.ports.contains("Old"));
    }
}

/// The data and changes of "port set --all --copies 3".
void setCopies(FakeServer& server) {
    ConfigurationPlan plan;
    for (const PortConfig& one : server.allPorts()) {
        PortConfig after = one;
        after.jobTemplate.copies = 3;
        planPort(plan, one, after, latin1Codec());
    }
    carryOut(server, plan, {}, false, kWhat, kRepeatCommand);
}

TEST(PlanSteps, ABulkChangeThatFailsAnywhereSaysWhatIsDoneAndGoesOn) {
    failAtEveryCall(
        office, setCopies,
        [](const FakeServer& server, const std::string& message) {
            EXPECT_EQ(toldDone(message), server.done);
            EXPECT_THAT(message, HasSubstr(" of 2 ports are done"));
            EXPECT_THAT(message, HasSubstr("run the same command again"));
            const auto copies = [](const auto& one) { return one.second.jobTemplate.copies == 3; };
            EXPECT_GE(static_cast<std::size_t>(std::ranges::count_if(server.ports, copies)),
                      server.done);
        },
        [](const FakeServer& server) {
            for (const auto& [name, one] : server.ports)
                EXPECT_EQ(one.jobTemplate.copies, 3u) << name;
        });
}

void withPrinters(FakeServer& server) {
    office(server);
    server.directory.AddPrinter("Sales", {"ipp://sales/", true, "user", "old"}, kRootGroup);
    server.directory.SetPortPrinter("Old", {"ipp://old/", true, "user", "old"});
}

/// The data and changes of "password set --all".
void setPassword(FakeServer& server) {
    Selection selection;
    selection.all = true;
    const Selector selector(selection, printerKeys(), latin1Codec(), kWhat);
    const PasswordPlan plan =
        planPasswords(server.allPorts(), server.directory, selector, {}, "new", latin1Codec());
    carryOut(server, plan, "new", kWhat);
}

std::vector<std::string> directoryPasswords(const CGroupsDB& directory) {
    std::vector<std::string> passwords;
    for (const auto& [id, node] : directory.nodes()) {
        if (node->type == NODE_PRINTER)
            passwords.push_back(static_cast<const CGroupsDBPrinter&>(*node).address.password);
    }
    for (const auto& [name, pattern] : directory.portPrinters())
        passwords.push_back(pattern->address.password);
    return passwords;
}

TEST(PlanSteps, ARotationThatFailsAnywhereSaysWhatHasTheNewPassword) {
    failAtEveryCall(
        withPrinters, setPassword,
        [](const FakeServer& server, const std::string& message) {
            EXPECT_THAT(message, HasSubstr("run the same command again"));
            if (server.done < 2) {
                EXPECT_EQ(toldDone(message), server.done);
                EXPECT_THAT(directoryPasswords(server.directory), ::testing::Each("old"));
                return;
            }
            EXPECT_THAT(message, HasSubstr("the ports have the new password, the printers and "
                                           "patterns of the directory do not"));
        },
        [](const FakeServer& server) {
            for (const auto& [name, one] : server.ports)
                EXPECT_EQ(one.printer.password, "new") << name;
            EXPECT_THAT(directoryPasswords(server.directory), ::testing::Each("new"));
            EXPECT_EQ(directoryPasswords(server.directory).size(), 2u);
        });
}

TEST(PlanSteps, ACopyThatAnEarlierRenamingHasLeftIsUsed) {
    FakeServer server;
    office(server);
    server.ports["New"] = port("New", "ipp://old/");
    server.queues["Q1"].port = "New";
    rename(server);
    EXPECT_FALSE(server.ports.contains("Old"));
    EXPECT_EQ(server.queues.at("Q2").port, "Else,New");
    server.expectNothingLost();
}

TEST(PlanSteps, OnlyTheOnePortOfAQueueIsReplaced) {
    const QueueDescription queue{"Q", "Old,Older,Old 2", "", "", "", ""};
    EXPECT_EQ(withOtherPort(queue, "Old", "New").port, "New,Older,Old 2");
}

}  // namespace
}  // namespace velmora::ctl
