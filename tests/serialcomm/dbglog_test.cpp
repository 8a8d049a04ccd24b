#include <gtest/gtest.h>

#include <serialcomm/dbglog.h>

TEST(Dbglog, PutsTheScopeInBracketsBeforeTheFullSignature) {
    EXPECT_EQ(dbglog_scopedFunction("virtual bool DummyPhysicalLayer::init()", "HostLinkPhysicalLayer"),
              "[HostLinkPhysicalLayer] virtual bool DummyPhysicalLayer::init()");
    EXPECT_EQ(dbglog_scopedFunction("", ""), "[] ");
}
