#include <quivo/writer/ImageWriter.h>

#include "support/Probe.h"

#include <pthread.h>

#include <sstream>

namespace Quivo::Testing {

using Proxy = ImageWriter::DownsampleOrProxy;

/// A writer that is its own monitor and checker and writes nothing but a log of all steps. The step
/// `failAt` throws its own name or a cancellation.
class ScriptedWriter final : public ImageWriter,
                             public ProgressMonitor,
                             public CancellationChecker {
public:
    std::string log, failAt, failAtToo;
    bool cancels = false, ready = true, endsThread = false;
    Vector tileExtentFromBegin{256, 256, 1};
    ProbeImage source;

    ScriptedWriter() {
        source.extent = {1000, 700, 1};
        setSrcImage(&source, false);
        setTileExtent({256, 256, 1});
    }
    void run() { writeImage(this, this); }

private:
    void step(std::string const& name) {
        log += name + " ";
        if (name != failAt && name != failAtToo) return;
        if (endsThread && name == failAt) pthread_exit(this);
        if (cancels) throw CancellationException();
        throw std::runtime_error(name);
    }
    void progressChanged() override {
        step(std::to_string(getProgress()) + "/" + std::to_string(getMaxValue()));
    }
    void checkCancelled() override { step("check" + std::to_string(numChecks_++)); }
    void beginWriting(Proxy*, CancellationChecker*) override {
        setTileExtent(tileExtentFromBegin);
        step("begin");
    }
    void endWriting(bool aborted) override {
        std::string reason;
        try {
            if (std::current_exception()) std::rethrow_exception(std::current_exception());
        } catch (std::exception const& error) {
            reason = error.what();
        } catch (CancellationException const&) {
            reason = "cancelled";
        }
        step((aborted ? "aborted:" : "done") + reason);
    }
    void prepareLevel(Proxy*, long long level) override { step("prepare" + std::to_string(level)); }
    void writeLevel(Proxy*, long long level, ProgressMonitor*, CancellationChecker*) override {
        step("write" + std::to_string(level));
    }
    void finalizeImage(ProgressMonitor*, CancellationChecker*) override { step("finalize"); }
    void setFilename(std::string const& name) override { filename = name; }
    bool isReady() override { return step("ready"), ready; }

    int numChecks_ = 0;
};

/// An image of three levels in 12 + 4 + 1 tiles.
std::string const fullWrite =
    "0/-1 check0 ready begin 0/17 check1 prepare0 write0 check2 prepare1 write1 check3 prepare2 "
    "write2 finalize done ";

TEST(ImageWriter, WalksTheLevelsUpwards) {
    ScriptedWriter writer, levelless;
    writer.run();
    EXPECT_EQ(writer.log, fullWrite);
    writer.log.clear();
    writer.writeImage(nullptr, nullptr);
    EXPECT_EQ(writer.log,
              "ready begin prepare0 write0 prepare1 write1 prepare2 write2 finalize done ");
    writer.log.clear();  // the counters are not clamped, and every change is told, even by 0
    writer.increase(5), writer.increase(0), writer.update(-3), writer.setMaxValue(0);
    EXPECT_EQ(writer.log, "5/17 5/17 -3/17 -3/0 ");
    levelless.source.numLevels = 0;
    levelless.run();
    EXPECT_EQ(levelless.log, "0/-1 check0 ready begin 0/0 finalize done ");
}

TEST(ImageWriter, EveryFailureAfterTheBeginningEndsInOneAbort) {
    std::istringstream steps(fullWrite);
    std::string before;
    for (std::string step; steps >> step;) {
        before += step + " ";
        bool const hasBegun = before.find("begin") != std::string::npos;
        for (bool cancels : {false, true}) {
            ScriptedWriter writer;
            writer.failAt = step;
            writer.cancels = cancels;
            bool cancelled = false;
            std::string const error = errorOf([&] {
                try {
                    writer.run();
                } catch (CancellationException const&) {
                    cancelled = true;
                }
            });
            // Once begun, the writer learns the reason and the caller nothing.
            std::string const reason = cancels ? "cancelled" : step;
            EXPECT_EQ(writer.log, hasBegun ? before + "aborted:" + reason + " " : before);
            EXPECT_EQ(error, hasBegun || cancels ? "" : step);
            EXPECT_EQ(cancelled, !hasBegun && cancels && step != "check0") << step;
        }
    }
    ScriptedWriter writer;  // what the verdict itself throws goes to the caller
    writer.failAt = "write1";
    writer.failAtToo = "aborted:write1";
    EXPECT_EQ(errorOf([&] { writer.run(); }), "aborted:write1");
}

TEST(ImageWriter, TheEndOfAThreadPassesAfterTheAbort) {
    for (bool failsToo : {false, true}) {  // a second exception does not stop it either
        ScriptedWriter writer;
        writer.failAt = "write1";
        writer.failAtToo = failsToo ? "aborted:" : "";
        writer.endsThread = true;
        pthread_t thread{};
        void* result = nullptr;
        auto const run = [](void* w) -> void* {
            static_cast<ScriptedWriter*>(w)->run();
            return nullptr;
        };
        ASSERT_EQ(pthread_create(&thread, nullptr, run, &writer), 0);
        ASSERT_EQ(pthread_join(thread, &result), 0);
        EXPECT_EQ(result, static_cast<ImageWriter*>(&writer)) << "went on";
        EXPECT_TRUE(writer.log.ends_with("write1 aborted: ")) << writer.log;
    }
}

TEST(ImageWriter, RefusesToBeginWithoutWhatItNeeds) {
    ScriptedWriter unready, sourceless;
    unready.ready = false;
    for (auto* writer : {&unready, &sourceless}) {  // more is missing than the first that is told
        writer->setSrcImage(nullptr, false);
        writer->setTileExtent({});
    }
    EXPECT_EQ(errorOf([&] { unready.run(); }), "Writer is not ready");
    EXPECT_EQ(errorOf([&] { sourceless.run(); }), "Source image for writing not set.");
    EXPECT_EQ(unready.log + sourceless.log, "0/-1 check0 ready 0/-1 check0 ready ");
    for (Vector const bad : {Vector(0, 1, 1), Vector(1, -1, 1), Vector(1, 1, 0)}) {
        ScriptedWriter before, during;
        before.setTileExtent(bad);
        during.tileExtentFromBegin = bad;
        during.run();
        std::string const error = errorOf([&] { before.run(); });
        EXPECT_EQ(error, "Tile extent must be at least 1 on every axis");
        EXPECT_EQ(before.log, "0/-1 check0 ready ");
        EXPECT_EQ(during.log, before.log + "begin aborted:" + error + " ")
            << "nothing divides by 0";
    }
}

TEST(ImageWriter, DeletesWhatItOwnsOnce) {
    int ofWriter = 0, ofProxy = 0;
    {
        ScriptedWriter writer;
        Proxy proxy(new ProbeImage(&ofProxy), true);
        auto* const set = new ProbeImage(&ofWriter);
        auto* const written = new ProbeImage(&ofProxy);
        for (bool owned : {false, true, true}) {  // the pointer already held deletes nothing
            writer.setSrcImage(set, owned);
            proxy.setSingleLevelImage(written, 0, 0, owned);
        }
        EXPECT_EQ(ofWriter + ofProxy, 0);
        writer.setSrcImage(new ProbeImage(&ofWriter), true);
        proxy.setSingleLevelImage(new ProbeImage(&ofProxy), 0, 0, true);
        EXPECT_EQ(std::pair(ofWriter, ofProxy), std::pair(1, 1)) << "replaced";
    }
    EXPECT_EQ(std::pair(ofWriter, ofProxy), std::pair(2, 3)) << "and at the end";
    struct Last : ProbeImage {
        int seen = 0;
        int& deleted;
        int* atItsEnd;
        Last(int& count, int* at) : deleted(count), atItsEnd(at) {}
        ~Last() override { *atItsEnd = deleted; }
    };
    int deleted = 0, before = -1;
    {
        Proxy proxy(new ProbeImage(&deleted), true);
        proxy.setSingleLevelImage(new Last(deleted, &before), 0, 0, true);
    }
    EXPECT_EQ(before, 1) << "the source goes first";
}

TEST(DownsampleOrProxy, ComputesOnlyTheLevelAboveTheWrittenOne) {
    ProbeImage source, written;
    source.extent = written.extent = {64, 64, 3};
    source.numLevels = 7;
    Proxy proxy(&source, false);
    RandomBoxes boxes(Box(Vector(-3, -3, -1), Vector(12, 12, 4)));
    for (long long singleLevel : {-1LL, 2LL, 0LL}) {
        if (singleLevel >= 0) proxy.setSingleLevelImage(&written, singleLevel, 1, false);
        for (int i = 0; i < 80; ++i) {
            long long const level = i % 8 - 1;
            Box const region = boxes.next();
            bool const isComputed = level > 0 && level == singleLevel + 1;
            auto const expected = [&](long long c, Vector const& p) {
                if (!isComputed) return source.valueAt(level, c, p);
                double sum = 0.0;
                for (Vector const step :
                     {Vector(), Vector(1, 0, 0), Vector(0, 1, 0), Vector(1, 1, 0)})
                    sum += written.valueAt(1, c, p * Vector(2, 2, 1) + step);
                return sum / 4.0;
            };
            ASSERT_EQ(read(proxy, level, region), pixelByPixel(2, region, expected)) << level;
        }
    }
    (void)read(proxy, 1, {{10, 4, 0}, {19, 7, 2}});
    EXPECT_EQ(written.reads.back(), std::pair(1LL, Box({20, 8, 0}, {39, 15, 2}))) << "every slice";
    struct Silent : ProbeImage {
        void openRegion(double*, long long, Box const&) override {}
    } silent;
    Values const old(4096, 5.0);  // so that fresh memory is not 0 by chance
    proxy.setSingleLevelImage(&silent, 0, 0, false);
    EXPECT_EQ(read(proxy, 1, Box(Vector(16, 16, 2))), Values(1024)) << "what nobody writes is 0";
    for (long long const numChannels : {1, 3}) {  // more would be written than there is room for
        silent.numChannels = numChannels;
        EXPECT_EQ(errorOf([&] { (void)read(proxy, 1, Box(Vector(2))); }),
                  "Single-level image has another number of channels than the source image.");
    }
    proxy.setSingleLevelImage(nullptr, 0, 0, false);
    EXPECT_EQ(errorOf([&] { (void)read(proxy, 1, Box(Vector(2))); }),
              "Single-level image not set.");
    EXPECT_EQ(read(proxy, 2, Box(Vector(2))), read(source, 2, Box(Vector(2)))) << "not used here";
    EXPECT_EQ(proxy.getExtent(1), source.getExtent(1));
    EXPECT_EQ(proxy.getNumLevels(), 7);
}

}  // namespace Quivo::Testing
