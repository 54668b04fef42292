// How long the printer groups page takes to show a large directory, beside a bare tree view that
// gets as many items, and the new printer dialog to show as many patterns.

#include <windows.h>

#include <commctrl.h>

#include <memory>

#include "bench/report.h"
#include "directory/groups_db.h"
#include "harness/empty_directory.h"
#include "ui/dialog_printer.h"
#include "ui/directory_tree.h"

namespace velmora::bench {
namespace {

constexpr std::uint32_t kNodes = 10000;
constexpr int kRuns = 5;
constexpr double kMilliseconds = 1000;

/// 100 groups of 99 printers each below the root.
CGroupsDB largeDirectory() {
    CGroupsDB directory = testing::emptyDirectory();
    while (directory.nodes().size() < kNodes) {
        const std::uint32_t group =
            directory.AddGroup("Group " + std::to_string(directory.nextId()), 1)->id;
        for (int i = 0; i < 99 && directory.nodes().size() < kNodes; ++i)
            directory.AddPrinter("Printer " + std::to_string(i),
                                 {"ipp://printer/ipp", false, "", ""}, group);
    }
    return directory;
}

/// A tree view that is drawn, in a window of its own.
class TreeWindow {
  public:
    TreeWindow()
        : window_(CreateWindowExA(
              0, WC_TREEVIEWA, "",
              WS_OVERLAPPED | WS_VISIBLE | TVS_HASBUTTONS | TVS_HASLINES | TVS_EDITLABELS, 0, 0,
              300, 400, nullptr, nullptr, nullptr, nullptr)) {}
    TreeWindow(const TreeWindow&) = delete;
    TreeWindow& operator=(const TreeWindow&) = delete;
    ~TreeWindow() { DestroyWindow(window_); }

    HWND get() const { return window_; }
    LRESULT count() const { return SendMessageA(window_, TVM_GETCOUNT, 0, 0); }

  private:
    HWND window_;
};

/// CPU seconds of this process, in user and kernel mode.
double cpuSeconds() {
    FILETIME created, ended, kernel, user;
    GetProcessTimes(GetCurrentProcess(), &created, &ended, &kernel, &user);
    const auto ticks = [](const FILETIME& time) {
        return (static_cast<double>(time.dwHighDateTime) * 4294967296.0 + time.dwLowDateTime) *
               1e-7;
    };
    return ticks(kernel) + ticks(user);
}

template <class Body>
double cpuMilliseconds(Body&& body) {
    const double start = cpuSeconds();
    for (int i = 0; i < kRuns; ++i)
        body();
    return (cpuSeconds() - start) / kRuns * kMilliseconds;
}

void check(const TreeWindow& tree) {
    if (tree.count() != static_cast<LRESULT>(kNodes)) {
        std::fprintf(stderr, "tree_bench: %ld items\n", static_cast<long>(tree.count()));
        std::exit(1);
    }
}

void fillFromDirectory(const CGroupsDB& directory) {
    const TreeWindow window;
    DirectoryTree tree(directory);
    tree.attach(window.get());
    tree.fill();
    UpdateWindow(window.get());
    check(window);
}

void fillBare(const CGroupsDB& directory) {
    const TreeWindow window;
    SendMessageA(window.get(), WM_SETREDRAW, FALSE, 0);
    HTREEITEM group = nullptr;
    HTREEITEM top = nullptr;
    for (const auto& [id, node] : directory.nodes()) {
        TVINSERTSTRUCTA insert{};
        insert.hParent = id == 1 ? nullptr : node->type == NODE_GROUP ? top : group;
        insert.hInsertAfter = TVI_LAST;
        insert.item.mask = TVIF_TEXT | TVIF_PARAM;
        insert.item.pszText = const_cast<char*>(node->name.c_str());
        const auto item = reinterpret_cast<HTREEITEM>(
            SendMessageA(window.get(), TVM_INSERTITEMA, 0, reinterpret_cast<LPARAM>(&insert)));
        if (id == 1)
            top = item;
        else if (node->type == NODE_GROUP)
            group = item;
    }
    SendMessageA(window.get(), WM_SETREDRAW, TRUE, 0);
    UpdateWindow(window.get());
    check(window);
}

CGroupsDB manyPatterns() {
    CGroupsDB directory;
    for (std::uint32_t i = 0; i < kNodes; ++i)
        directory.SetPortPrinter("Port " + std::to_string(i), {"ipp://printer/ipp", 0, "", ""});
    return directory;
}

void fillPatterns(const CGroupsDB& directory) {
    const HWND window = CreateWindowExA(0, WC_LISTVIEWA, "",
                                        WS_OVERLAPPED | WS_VISIBLE | LVS_REPORT | LVS_SINGLESEL, 0,
                                        0, 300, 200, nullptr, nullptr, nullptr, nullptr);
    const ReportList list(window);
    list.addColumn("Name", 100);
    list.addColumn("URL", 160);
    addPatterns(list, directory.portPrinters());
    UpdateWindow(window);
    const LRESULT rows = SendMessageA(window, LVM_GETITEMCOUNT, 0, 0);
    DestroyWindow(window);
    if (rows == static_cast<LRESULT>(kNodes)) return;
    std::fprintf(stderr, "tree_bench: %ld rows\n", static_cast<long>(rows));
    std::exit(1);
}

}  // namespace
}  // namespace velmora::bench

int main(int argc, char** argv) {
    using namespace velmora::bench;
    const INITCOMMONCONTROLSEX classes{sizeof classes, ICC_TREEVIEW_CLASSES | ICC_LISTVIEW_CLASSES};
    InitCommonControlsEx(&classes);
    const velmora::CGroupsDB directory = largeDirectory();
    Report report(argc, argv);
    const double bare = cpuMilliseconds([&] { fillBare(directory); });
    const double ours = cpuMilliseconds([&] { fillFromDirectory(directory); });
    report.add({"CPU to show a directory of 10,000 nodes", "ms", ours, bare, 2.0});
    report.add(
        {"CPU to show it, beside the second that is allowed", "ms", ours, kMilliseconds, 1.0});
    const velmora::CGroupsDB patterns = manyPatterns();
    const double shown = cpuMilliseconds([&] { fillPatterns(patterns); });
    report.add({"CPU to show 10,000 patterns, beside the 0.3 s allowed", "ms", shown, 300, 1.0});
    return 0;
}
