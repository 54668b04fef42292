#include "ui/interface_host.h"

#include "ui/kit/number_text.h"
#include "ui/resources/resource_ids.h"
#include "ui/text_table.h"

namespace velmora {
namespace {

/// A translated message with its numbers filled in.
std::string withNumbers(const std::string& builtIn, std::initializer_list<int> numbers) {
    const std::string text = lookupString(builtIn);
    if (auto message = formatNumbers(text, numbers)) return *message;
    // A mistake in a translator's placeholders must not spoil the message.
    return formatNumbers(builtIn, numbers).value_or(text);
}

class InterfaceHost : public DialogHost {
  public:
    MessageBoxes& messageBoxes() override { return boxes_; }

    std::string message(int id) const override { return LoadMessage(static_cast<UINT>(id)); }

    std::string notANumber() const override { return lookupString("Please enter an integer."); }

    std::string outsideBounds(int low, int high) const override {
        return withNumbers(loadResourceText(IDS_INTEGER_RANGE), {low, high});
    }

    std::string outsideCodePage() const override {
        return lookupString(
            "The text contains a character that the system's code page does not have.\n"
            "Please use other characters.");
    }

  private:
    PlatformMessageBoxes boxes_{&interfaceTitle};
};

}  // namespace

DialogHost& interfaceHost() {
    static InterfaceHost host;
    return host;
}

}  // namespace velmora
