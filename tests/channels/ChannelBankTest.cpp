#include <quivo/channels/ChannelBank.h>

#include "support/Probe.h"

namespace Quivo::Testing {

struct Plane : ProbeImage {
    explicit Plane(int* deletionCount = nullptr) : ProbeImage(deletionCount) { numChannels = 1; }
};

TEST(ChannelBank, FindsChannelsAndDeletesWhatItOwnsOnce) {
    int owned = 0;
    {
        Plane nameless, wrong;
        ChannelBank bank(&nameless);
        Plane* const planes[] = {new Plane(&owned), new Plane(&owned)};
        for (Plane* plane : planes) bank.addChannel(plane, ""), bank.addHiddenImage(plane);
        for (int i = 0; i < 2; ++i) bank.addChannel(&nameless, "", false);
        bank.addChannel(planes[1], "c5", true);
        auto const refusal = [&](auto... nameAndOwnership) {
            return errorOf([&] { bank.addChannel(&wrong, nameAndOwnership...); });
        };
        EXPECT_EQ(refusal(""), "Filter name already exists (\"c5\").") << "the default name";
        wrong.numChannels = 0;
        EXPECT_EQ(refusal("c5", true), "Filter has multiple channels (\"c5\").");
        wrong.extent.z = 1;
        EXPECT_EQ(refusal("", true), "Filter has different extent from image (\"\").");
        std::vector<std::string> const names = {"c0", "c1", "", "", "c5"};
        EXPECT_EQ(bank.createSelectionAllChannels(), names);
        EXPECT_TRUE(bank.createSelection(4, 1)[0] == "c5" && bank.createSelection(2, 0).empty());
        EXPECT_TRUE(bank.getChannelIndex("c5") == 4 && bank.getChannelIndex("") == -1);
        EXPECT_TRUE(!bank.getChannel(2) && bank.getChannel("c1") == bank.getChannel(4));
    }
    EXPECT_EQ(owned, 2);
}

TEST(ChannelBank, LetsEveryChannelWriteItsOwnPlane) {
    Plane a, b;
    ChannelBank bank(&a);
    bank.addChannel(&a, "a", false), bank.addChannel(&b, "b", false);
    Box const region({-1, 2, 0}, {2, 3, 1});
    auto const readNameless = [&] { (void)bank.openRegion({"a", "b", ""}, region, 1); };
    EXPECT_EQ(errorOf(readNameless), "Channel does not exist (\"\").");
    // Braces are a list of names, also of two, of which a string could be made.
    std::string const name = "b";
    EXPECT_EQ(bank.openRegion({}, Box(), 0)->getNumChannels(), 0);
    EXPECT_EQ(bank.openRegion({"a"}, Box(), 0)->getNumChannels(), 1);
    EXPECT_EQ(bank.openRegion({"a", "b"}, Box(), 0)->getNumChannels(), 2);
    EXPECT_EQ(bank.openRegion({name, "a"}, Box(), 0)->getNumChannels(), 2);
    EXPECT_EQ(bank.openRegion(name, Box(), 0)->getNumChannels(), 1);
    a.reads.clear(), b.destinations.clear();
    auto const buffer = bank.openRegion({"b", "a", "b"}, region, 1);
    EXPECT_EQ(b.destinations, (std::vector{buffer->getPtr(0), buffer->getPtr(2)})) << "no copies";
    EXPECT_EQ(a.reads, (std::vector{std::pair(1LL, region)})) << "and none for unknown names";
}

}  // namespace Quivo::Testing
