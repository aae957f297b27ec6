// MPLS tunnel interfaces: how they are called, and the directory of their statuses.
#include "mpls/tables/MtiStatus.h"

#include <algorithm>

#include "mpls/tables/Registration.h"
#include "platform/forma/Dir.h"
#include "platform/netbase/MplsTapIntfConstants.h"
#include "platform/netbase/TunnelTapIntfId.h"
#include "tests/support/Checks.h"

namespace Mpls {
namespace {

using Netbase::IntfId;
using Netbase::MplsTapIntfConstants;
using Netbase::TunnelTapIntfId;

TEST(TunnelTapIntfIdTest, IsItsInterfaceInAllButType) {
  const IntfId tap = MplsTapIntfConstants::tunnelTapIntfId();
  EXPECT_TRUE(tap == IntfId("tunnelTap0") && tap.typeId() == 60);
  EXPECT_EQ(MplsTapIntfConstants::tunnelTapFdName(), "tunnelTapFd");
  EXPECT_EQ(MplsTapIntfConstants(), MplsTapIntfConstants());
  std::vector<TunnelTapIntfId> ids;
  for (const char* name : {"Ethernet1", "Tunnel0", "tunnelTap", "tunnelTap0", "tunnelTap0.1",
                           "tunnelTap1", "tunneltap0"}) {
    const TunnelTapIntfId& id = ids.emplace_back(Forma::String8(name));
    EXPECT_TRUE(id == TunnelTapIntfId(IntfId(name)) && id.intfId() == IntfId(name));
    EXPECT_EQ(Netbase::valueToStrep(id), Netbase::valueToStrep(id.intfId()));
    TunnelTapIntfId back;
    Netbase::strepToValue(Netbase::valueToStrep(id), &back);
    EXPECT_EQ(back, id);
    EXPECT_EQ(TunnelTapIntfId::isTunnelTapIntfId(id.intfId()),
              std::string_view(name).starts_with("tunnelTap"))
        << name;
  }
  std::ranges::sort(ids, {}, &TunnelTapIntfId::intfId);
  Checks::expectAscending(ids);
  EXPECT_EQ(Checks::raised([] { TunnelTapIntfId(Forma::String8("a/b")); }),
            "IntfId::name with '/' not allowed");
}

struct DirSpy : MtiStatusDir::NotifieeConst {
  void onMtiStatus(const IntfId& intfId) override { heard += std::string(intfId.name()) + ' '; }
  std::string heard;
};
struct StatusSpy : MtiStatus::NotifieeConst {
  void onOperStatus() override { heard += "oper "; }
  void onMtu() override { heard += "mtu "; }
  void onAddr() override { heard += "addr "; }
  std::string heard;
};

TEST(MtiStatusTest, ADirectoryMakesItsStatusesAndShowsThemAsAnyInterface) {
  Forma::TypeRegistry registry;
  registerTableTypes(registry);
  const auto root = Forma::dirFactory("root");
  const auto dir =
      Forma::ptrCast<MtiStatusDir>(root->newEntity(registry, "Mpls::MtiStatusDir", "mti"));
  ASSERT_TRUE(dir);
  DirSpy spy;
  spy.notifierIs(dir);
  const IntfId tap = MplsTapIntfConstants::tunnelTapIntfId();
  const auto status = dir->newMtiStatus(tap, 7U);
  EXPECT_EQ(dir->mtiStatusIs(tap, 7U), status) << "created only if absent";
  EXPECT_THROW(dir->mtiStatusIs(tap, 8U), Forma::RangeException);
  EXPECT_EQ(status->fullName(), "root/mti/mtiStatus/tunnelTap0");
  EXPECT_TRUE(status->intfId() == tap && status->ifIndex() == 7 && status->mtu() == 0);

  StatusSpy statusSpy;
  statusSpy.notifierIs(status);
  status->operStatusIs(Interface::up_);
  status->operStatusIs(Interface::up_);  // no change, no call
  status->mtuIs(9000);
  status->addrIs(Netbase::EthAddr("00:1b:21:aa:bb:cc"));
  EXPECT_EQ(statusSpy.heard, "oper mtu addr ");
  const Interface::IntfStatusDirBase& any = *dir;
  EXPECT_EQ(any.intfStatus(tap)->operStatus(), Interface::up_);
  EXPECT_FALSE(any.intfStatus(IntfId("tunnelTap1")));

  dir->newMtiStatus(IntfId("tunnelTap1"), 8U);
  dir->mtiStatusDel(tap);
  dir->mtiStatusDelAll();
  EXPECT_TRUE(status->isDeleted() && dir->mtiStatuss() == 0);
  EXPECT_EQ(spy.heard, "tunnelTap0 tunnelTap1 tunnelTap0 tunnelTap1 ");
  EXPECT_EQ(mtiStatusFactory(tap, 9U)->ifIndex(), 9U);
  EXPECT_EQ(mtiStatusDirFactory("d")->name(), "d");
}

}  // namespace
}  // namespace Mpls
