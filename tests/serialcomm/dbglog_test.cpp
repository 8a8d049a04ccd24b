#include <serialcomm/dbglog.h>

#include <gtest/gtest.h>

TEST(Dbglog, PutsTheScopeInBracketsBeforeTheFullSignature) {
    EXPECT_EQ(dbglog_scopedFunction("virtual bool DummyPhysicalLayer::init()", "HostLinkPhysicalLayer"),
              "[HostLinkPhysicalLayer] virtual bool DummyPhysicalLayer::init()");
    EXPECT_EQ(dbglog_scopedFunction("", ""), "[] ");
}
