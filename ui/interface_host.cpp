#include "ui/interface_host.h"

#include "ui/kit/number_text.h"
#include "ui/resources/resource_ids.h"
#include "ui/text_table.h"

namespace velmora {
namespace {

class InterfaceHost : public DialogHost {
  public:
    MessageBoxes& messageBoxes() override { return boxes_; }

    std::string message(int id) const override { return LoadMessage(static_cast<UINT>(id)); }

    std::string notANumber() const override { return lookupString("Please enter an integer."); }

    std::string outsideBounds(int low, int high) const override {
        const std::string text = LoadMessage(IDS_INTEGER_RANGE);
        if (auto message = formatNumbers(text, {low, high})) return *message;
        // A translator's placeholders must not decide what the user gets to read.
        return formatNumbers(loadResourceText(IDS_INTEGER_RANGE), {low, high}).value_or(text);
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
