// Writes lines to the record of deliveries as the monitor does, for tests of its readers.
//
//   record_writer COUNT     COUNT lines of port "Round", numbered on by their job, for each line of
//                           the standard input; keeps 1 MiB
#include <cstdlib>
#include <iostream>
#include <string>

#include "monitor/delivery_output.h"
#include "port/delivery_directory.h"
#include "port/delivery_record.h"

int main(int argc, char** argv) {
    using namespace velmora;
    if (argc != 2 || makeDeliveryDirectory() != 0) return 1;
    const int count = std::atoi(argv[1]);
    DeliveryEntry entry;
    entry.port = "Round";
    entry.document = std::string(1500, 'x');
    entry.outcome = DeliveryOutcome::accepted;
    for (std::string round; std::getline(std::cin, round);) {
        for (int i = 0; i < count; ++i) {
            ++entry.job;
            if (!appendToRecord(deliveryDirectory(), deliveryLine(entry), 1)) return 1;
        }
    }
    return 0;
}
