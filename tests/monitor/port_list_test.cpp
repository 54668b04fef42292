#include "monitor/port_list.h"
#include "monitor/jobs/port_job.h"
#include "port/port_config.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

namespace velmora {
namespace {

PortConfig named(const std::string& name) {
    PortConfig config;
    config.name = name;
    return config;
}

/// Records its calls.
class RecordingStore : public PortStore {
  public:
    std::vector<PortConfig> load() override { return stored; }
    void save(const PortConfig& config) override { log.push_back("save " + config.name); }
    void erase(const std::string& portName) override { log.push_back("erase " + portName); }

    std::vector<PortConfig> stored;
    std::vector<std::string> log;
};

std::vector<std::string> names(const PortList& list) {
    std::vector<std::string> result;
    for (const Port& port : list)
        result.push_back(port.config()->name);
    return result;
}

using Names = std::vector<std::string>;

TEST(PortList, LoadsInStoredOrder) {
    RecordingStore store;
    store.stored = {named("b"), named("a"), named("b")};
    const PortList list(store);
    EXPECT_EQ(names(list), (Names{"b", "a", "b"}));
    EXPECT_EQ(list.size(), 3u);
    EXPECT_EQ(list.find("b"), &*list.begin());
}

TEST(PortList, AddAppendsStoresNothingAndTakesDuplicates) {
    RecordingStore store;
    PortList list(store);
    Port* first = list.add(named("P"));
    Port* second = list.add(named("P"));
    EXPECT_NE(first, second);
    EXPECT_EQ(list.find("P"), first);
    EXPECT_EQ(first->name(), "P");
    EXPECT_EQ(names(list), (Names{"P", "P"}));
    EXPECT_TRUE(store.log.empty());
}

TEST(PortList, FindComparesWholeNamesAndCase) {
    RecordingStore store;
    PortList list(store);
    list.add(named("IPP1"));
    EXPECT_EQ(list.find("ipp1"), nullptr);
    EXPECT_EQ(list.find("IPP"), nullptr);
    EXPECT_EQ(list.find("IPP11"), nullptr);
    EXPECT_EQ(list.find(""), nullptr);
}

TEST(PortList, UpdateReplacesAndStores) {
    RecordingStore store;
    PortList list(store);
    Port* port = list.add(named("P"));
    PortConfig config = named("P");
    config.printer.url = "ipp://x";
    list.update(*port, config);
    EXPECT_EQ(*port->config(), config);
    EXPECT_EQ(store.log, Names{"save P"});
}

TEST(PortList, AViewOutlivesTheUpdate) {
    RecordingStore store;
    PortList list(store);
    Port* port = list.add(named("P"));
    const auto view = port->config();
    PortConfig config = named("P");
    config.printer.url = "ipp://new";
    list.update(*port, config);
    EXPECT_EQ(view->printer.url, "");
    EXPECT_EQ(port->config()->printer.url, "ipp://new");
}

TEST(PortList, RemoveUnlinksErasesAndKeepsTheAddress) {
    RecordingStore store;
    PortList list(store);
    list.add(named("a"));
    Port* middle = list.add(named("b"));
    Port* last = list.add(named("c"));
    list.remove(*middle);
    EXPECT_EQ(names(list), (Names{"a", "c"}));
    EXPECT_EQ(list.size(), 2u);
    EXPECT_EQ(middle->config()->name, "b") << "a handle still shows the port as it was";
    list.remove(*last);
    list.add(named("d"));
    EXPECT_EQ(names(list), (Names{"a", "d"}));
    EXPECT_EQ(store.log, (Names{"erase b", "erase c"}));
}

TEST(PortList, ARemovedPortIsNeitherRemovedAgainNorStoredAgain) {
    RecordingStore store;
    PortList list(store);
    Port* port = list.add(named("P"));
    list.remove(*port);
    list.add(named("P"));
    list.remove(*port);
    list.update(*port, named("P"));
    EXPECT_EQ(names(list), Names{"P"});
    EXPECT_EQ(store.log, Names{"erase P"});
}

TEST(PortList, RemovingTheOnlyPortEmptiesTheList) {
    RecordingStore store;
    PortList list(store);
    list.remove(*list.add(named("P")));
    EXPECT_TRUE(names(list).empty());
    list.add(named("Q"));
    EXPECT_EQ(names(list), Names{"Q"});
}

TEST(PortList, AbandonedJobsAreNotEnded) {
    static int reports;
    reports = 0;
    RecordingStore store;
    PortList list(store);
    std::vector<std::unique_ptr<PortJob>> jobs;
    for (const char* name : {"stays", "goes"}) {
        Port* port = list.add(named(name));
        port->job = std::make_unique<PortJob>(JobInfo(), [](const JobInfo&) { ++reports; });
        jobs.emplace_back(port->job.get());  // abandoned, a job belongs to no one
    }
    Port* const stays = list.find("stays");
    Port* const goes = list.find("goes");
    list.remove(*goes);
    list.abandonJobs();
    EXPECT_EQ(stays->job, nullptr);
    EXPECT_EQ(goes->job, nullptr);
    EXPECT_EQ(reports, 0);
    jobs.clear();
    EXPECT_EQ(reports, 2);
}

/// Writers add, update and remove while readers enumerate. The fields of every configuration match
/// each other, so that a torn read is noticed; the sanitizers find the rest.
TEST(PortList, ReadersNeverSeeATornListOrConfiguration) {
    RecordingStore store;
    PortList list(store);
    for (int i = 0; i < 8; ++i)
        list.add(named("fixed" + std::to_string(i)));
    std::atomic<bool> stop{false};
    std::atomic<int> looks{0};

    const auto read = [&] {
        while (!stop.load()) {
            int fixed = 0;
            for (const Port& port : list) {
                const auto config = port.config();
                EXPECT_EQ(config->printer.userName, config->printer.password);
                EXPECT_EQ(config->jobTemplate.copies, config->jobTemplate.jobPriority / 10);
                if (config->name.starts_with("fixed")) ++fixed;
            }
            EXPECT_EQ(fixed, 8) << "ports that stay are seen by every walk";
            EXPECT_NE(list.find("fixed3"), nullptr);
            ++looks;
        }
    };
    const auto write = [&](int writer) {
        for (std::uint32_t round = 1; round <= 400; ++round) {
            const std::string name = "moving" + std::to_string(writer);
            Port* added = list.add(named(name));
            PortConfig config = named("fixed3");
            config.printer.userName = config.printer.password = std::string(round % 200, 'x');
            config.jobTemplate.copies = round;
            config.jobTemplate.jobPriority = round * 10;
            list.update(*list.find("fixed3"), config);
            list.remove(*added);
        }
    };

    std::vector<std::thread> readers;
    for (int i = 0; i < 3; ++i)
        readers.emplace_back(read);
    while (looks.load() < 3)
        std::this_thread::yield();
    std::vector<std::thread> writers;
    for (int i = 0; i < 2; ++i)
        writers.emplace_back(write, i);
    for (std::thread& writer : writers)
        writer.join();
    stop = true;
    for (std::thread& reader : readers)
        reader.join();
    EXPECT_EQ(list.size(), 8u);
}

}  // namespace
}  // namespace velmora
