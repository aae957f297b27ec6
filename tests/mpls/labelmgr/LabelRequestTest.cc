// What clients and the label manager hand to each other.
#include <gtest/gtest.h>

#include <vector>

#include "mpls/entities/ApiStatus.h"
#include "mpls/labelmgr/ClientLabelRequest.h"

namespace Mpls {
namespace {

TEST(LabelRequestTest, RequestsOfOneIdentifierAreOne) {
  struct Hears : ClientLabelRequest::NotifieeConst {
    void onLabelRequest(const Forma::String8& id) override { ids.push_back(std::string(id)); }
    std::vector<std::string> ids;
  } hears;
  const auto client = clientLabelRequestFactory("ldp");
  hears.notifierIs(client);
  client->labelRequestIs(LabelRequest("a"));
  client->newLabelRequest(LabelRequest("a"));
  client->newLabelRequest(LabelRequest("b"));
  EXPECT_TRUE(client->labelRequests() == 2 && client->labelRequest("a") == LabelRequest("a"));
  EXPECT_FALSE(client->labelRequestFind("c"));
  client->labelRequestDelAll();
  EXPECT_EQ(hears.ids.size(), 4U);
  EXPECT_EQ(valueToStrep(LabelRequest("it's")), "'it\\'s'");
}

TEST(LabelBlockTest, AnIdentifierWithoutABlockHasNoLabels) {
  const auto status = Api::statusFactory("api");
  const auto blocks = status->newLabelBlockAllocation("ldp");
  blocks->newBlock("a", LabelBlock(100000));
  EXPECT_EQ(valueToStrep(status->labelBlockAllocation("ldp")->block("a")), "100000");
  EXPECT_EQ(blocks->block("b").blockStart().value(), 1048576U);
  EXPECT_EQ(LabelBlock::blockSize, 16384U);
}

}  // namespace
}  // namespace Mpls
