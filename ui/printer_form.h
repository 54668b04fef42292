#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "directory/groups_db.h"

namespace velmora {

/// What the two printer dialogs edit.
struct PrinterForm {
    std::string name;
    std::string uri;
    bool hasAuth = false;
    std::string userName;
    std::string password;

    bool operator==(const PrinterForm&) const = default;
};

PrinterForm formOf(const CGroupsDBPrinter& printer);

/// A record for CGroupsDB::UpdatePrinter.
CGroupsDBPrinter recordOf(const PrinterForm& form, std::uint32_t id);

/// What is kept of an accepted form: no user name and password without authentication.
PrinterForm withUsedCredentials(PrinterForm form);

enum class PrinterNameVerdict { accepted, missing, taken };

/// Names are compared byte by byte.
PrinterNameVerdict judgePrinterName(const std::string& name, const std::vector<std::string>& taken);

enum class PrinterUrlVerdict { accepted, missing, invalid };

/// `isValid` is IsValidPrinterUrl, which needs the platform's URL cracker.
PrinterUrlVerdict judgePrinterUrl(const std::string& url, bool (*isValid)(const std::string&));

}  // namespace velmora
