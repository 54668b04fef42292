#include "velmoractl/text/completion.h"

#include <gtest/gtest.h>

namespace velmora::ctl {
namespace {

TEST(Completion, NamesDependOnTheVerb) {
    EXPECT_EQ(nameKindOf("port set", "name"), NameKind::port);
    EXPECT_EQ(nameKindOf("port add", "name"), NameKind::none);
    EXPECT_EQ(nameKindOf("queue set", "name"), NameKind::queue);
    EXPECT_EQ(nameKindOf("queue add", "--port"), NameKind::port);
    EXPECT_EQ(nameKindOf("group remove", "path"), NameKind::group);
    EXPECT_EQ(nameKindOf("printer set", "path"), NameKind::printer);
    EXPECT_EQ(nameKindOf("printer add", "path"), NameKind::group);
    EXPECT_EQ(nameKindOf("probe", "--group"), NameKind::group);
    EXPECT_EQ(nameKindOf("portable", "name"), NameKind::none);
}

}  // namespace
}  // namespace velmora::ctl
