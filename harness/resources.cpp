#include "harness/resources.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstring>

#include "platform/text.h"

namespace velmora::testing {
namespace {

// Reads the layouts of DLGTEMPLATE, MENUHEADER, ACCELTABLEENTRY and string blocks.
class WordReader {
  public:
    explicit WordReader(std::span<const std::byte> block) : block_(block) {}

    WORD word() {
        WORD value = 0;
        if (offset_ + sizeof value > block_.size()) {
            ADD_FAILURE() << "resource ends at " << block_.size();
            offset_ = block_.size();
            return 0;
        }
        std::memcpy(&value, block_.data() + offset_, sizeof value);
        offset_ += sizeof value;
        return value;
    }
    int number() { return static_cast<short>(word()); }
    DWORD dword() {
        const DWORD low = word();
        return low | static_cast<DWORD>(word()) << 16;
    }
    std::string text(std::size_t length) {
        std::wstring wide;
        while (wide.size() < length)
            wide += static_cast<wchar_t>(word());
        return toAnsi(wide);
    }
    std::string terminatedText() {
        std::wstring wide;
        while (const WORD character = word())
            wide += static_cast<wchar_t>(character);
        return toAnsi(wide);
    }
    void alignToDword() { offset_ = (offset_ + 3) & ~std::size_t{3}; }
    void skip(std::size_t bytes) { offset_ += bytes; }
    bool atEnd() const { return offset_ + sizeof(WORD) > block_.size(); }

    /// A name that is a text or, after 0xFFFF, a number.
    std::string nameOrNumber() {
        const std::size_t start = offset_;
        if (word() == 0xFFFF) return std::to_string(word()).insert(0, 1, '#');
        offset_ = start;
        return terminatedText();
    }

  private:
    std::span<const std::byte> block_;
    std::size_t offset_ = 0;
};

std::string className(const std::string& name) {
    static const std::map<std::string, std::string> kPredefined = {
        {"#128", "Button"},  {"#129", "Edit"},      {"#130", "Static"},
        {"#131", "ListBox"}, {"#132", "ScrollBar"}, {"#133", "ComboBox"}};
    const auto found = kPredefined.find(name);
    return found == kPredefined.end() ? name : found->second;
}

RECT readPlace(WordReader& in) {
    RECT place{};
    place.left = in.number();
    place.top = in.number();
    place.right = place.left + in.number();
    place.bottom = place.top + in.number();
    return place;
}

ControlResource readControl(WordReader& in) {
    in.alignToDword();
    ControlResource control;
    control.style = in.dword();
    control.extendedStyle = in.dword();
    control.place = readPlace(in);
    control.id = in.number();
    control.windowClass = className(in.nameOrNumber());
    control.text = in.nameOrNumber();
    in.skip(in.word());  // creation data
    return control;
}

std::vector<MenuItemResource> readItems(WordReader& in) {
    std::vector<MenuItemResource> items;
    for (bool last = false; !last && !in.atEnd();) {
        MenuItemResource item;
        const int flags = in.word();
        last = (flags & MF_END) != 0;
        item.flags = flags & ~MF_END;
        if ((flags & MF_POPUP) == 0) item.id = in.word();
        item.text = in.terminatedText();
        if (flags & MF_POPUP) item.items = readItems(in);
        items.push_back(std::move(item));
    }
    return items;
}

}  // namespace

const ControlResource& DialogResource::control(int id) const {
    static const ControlResource kNone;
    const ControlResource* found = nullptr;
    for (const ControlResource& control : controls) {
        if (control.id != id) continue;
        EXPECT_EQ(found, nullptr) << "two controls " << id;
        found = &control;
    }
    EXPECT_NE(found, nullptr) << "no control " << id;
    return found == nullptr ? kNone : *found;
}

std::string DialogResource::mnemonics() const {
    std::string letters;
    for (const ControlResource& control : controls) {
        for (std::size_t at = control.text.find('&');
             at != std::string::npos && at + 1 < control.text.size();
             at = control.text.find('&', at + 2)) {
            const char letter = control.text[at + 1];
            if (letter != '&') letters += static_cast<char>(std::tolower(letter));
        }
    }
    return letters;
}

std::span<const std::byte> readResource(HMODULE module, const char* type, int id) {
    const HRSRC resource = FindResourceA(module, MAKEINTRESOURCEA(id), type);
    if (resource == nullptr) return {};
    const auto* const data =
        static_cast<const std::byte*>(LockResource(LoadResource(module, resource)));
    return {data, data + SizeofResource(module, resource)};
}

std::optional<DialogResource> readDialog(HMODULE module, int id) {
    const auto block = readResource(module, RT_DIALOG, id);
    if (block.empty()) return std::nullopt;
    WordReader in(block);
    DialogResource dialog;
    dialog.style = in.dword();
    in.dword();  // extended style
    const int count = in.word();
    const RECT place = readPlace(in);
    dialog.width = place.right - place.left;
    dialog.height = place.bottom - place.top;
    in.nameOrNumber();  // menu
    in.nameOrNumber();  // window class
    dialog.caption = in.terminatedText();
    if (dialog.style & DS_SETFONT) {
        dialog.fontSize = in.word();
        dialog.font = in.terminatedText();
    }
    for (int i = 0; i < count; ++i)
        dialog.controls.push_back(readControl(in));
    return dialog;
}

std::optional<std::vector<MenuItemResource>> readMenu(HMODULE module, int id) {
    const auto block = readResource(module, RT_MENU, id);
    if (block.empty()) return std::nullopt;
    WordReader in(block);
    EXPECT_EQ(in.word(), 0) << "version of the menu template";
    in.skip(in.word());
    return readItems(in);
}

std::optional<std::vector<AcceleratorResource>> readAccelerators(HMODULE module, int id) {
    const auto block = readResource(module, RT_ACCELERATOR, id);
    if (block.empty()) return std::nullopt;
    constexpr int kLastEntry = 0x80;
    WordReader in(block);
    std::vector<AcceleratorResource> accelerators;
    for (bool last = false; !last && !in.atEnd();) {
        const int flags = in.word();
        last = (flags & kLastEntry) != 0;
        const int key = in.word();
        accelerators.push_back({flags & ~kLastEntry, key, in.word()});
        in.word();  // padding
    }
    return accelerators;
}

std::map<int, std::string> readStrings(HMODULE module) {
    constexpr int kBlockSize = 16;
    constexpr int kBlocks = 0x10000 / kBlockSize;
    std::map<int, std::string> strings;
    for (int number = 1; number <= kBlocks; ++number) {
        const auto block = readResource(module, RT_STRING, number);
        if (block.empty()) continue;
        WordReader in(block);
        for (int i = 0; i < kBlockSize; ++i) {
            const std::string text = in.text(in.word());
            if (!text.empty()) strings[(number - 1) * kBlockSize + i] = text;
        }
    }
    return strings;
}

}  // namespace velmora::testing
