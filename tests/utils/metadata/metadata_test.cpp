#if TAMO_CAMERA_METADATA_FAULTS
#include <camera_metadata_fault.h>
#endif

#include <future>

#include "MetadataTestUtil.h"
#include "ThreadWatch.h"
#include "metadata/metadata.h"

using namespace metadata_test;
using namespace tamo;
using namespace std::chrono_literals;
using tamo::host::LogCapture;
using Requests = std::vector<unsigned int>;
using V = std::vector<int32_t>;

namespace {

TEST(Metadata, GrowsToExactlyWhatIsAppended)
{
    auto three = ints(8, 64, {{C, 1}, {P, 1}, {R, 4}}); // 3 entries, 16 data bytes
    auto two = ints(2, 8, {{T, 1}, {F, 2}});             // 2 entries, 8 data bytes
    auto meta = Metadata::create();
    ASSERT_TRUE(meta->appendMetadata(ints(1, 0, {{C, 1}}).get())); // no data bytes: default room
    EXPECT_EQ(caps(meta), Caps(400, 180000));
    meta = Metadata::create();
    ASSERT_TRUE(meta->appendMetadata(three.get()) && meta->appendMetadata(object(two)));
    EXPECT_EQ(caps(meta), Caps(5, 24));
    // Short of entries only: still the exact sums.
    ASSERT_TRUE(meta->init(3, 1000) && meta->appendMetadata(three.get()) && meta->appendMetadata(two.get()));
    EXPECT_EQ(caps(meta), Caps(5, 24));

    // Growing an exact copy without data bytes drops its entries.
    meta = object(ints(4, 64, {{C, 1}, {P, 1}}));
    ASSERT_TRUE(meta->appendMetadata(ints(1, 0, {{T, 1}}).get()));
    EXPECT_EQ(caps(meta), Caps(3, 0));
    EXPECT_EQ(values(meta, C), V({-1}));

    // With room enough a buffer stays as it is.
    auto src = Metadata::create();
    ASSERT_TRUE(src->init(10, 200) && src->appendMetadata(three.get()));
    EXPECT_EQ(caps(Metadata::clone(src)), Caps(3, 16));
    for (auto [entries, data, want] : {std::tuple{0u, 0u, Caps(3, 16)}, {1000u, 100000u, Caps(1000, 100000)},
                                       {1u, 100000u, Caps(3, 100000)}, {1000u, 1u, Caps(1000, 16)}}) {
        auto copy = Metadata::clone(src, entries, data);
        EXPECT_TRUE(caps(copy) == want && values(copy, R) == V({1, 2, 3, 4}));
    }
}

// Replacing or growing frees the buffer that the object reads itself from.
TEST(Metadata, ReadsItselfWhileReplacingOrGrowing)
{
    auto meta = object(ints(6, 64, {{C, 1}, {R, 4}}));
    ASSERT_TRUE(meta->init(meta->getFwkMetadata())); // exact: any append grows it
    EXPECT_EQ(caps(meta), Caps(2, 16));
    ASSERT_TRUE(meta->appendMetadata(meta->getFwkMetadata()) && meta->appendMetadata(meta));
    EXPECT_EQ(caps(meta), Caps(8, 64));
    camera_metadata_ro_entry_t e;
    for (size_t i = 0; i < 8; i++) {
        ASSERT_EQ(get_camera_metadata_ro_entry(meta->getFwkMetadata(), i, &e), 0);
        EXPECT_EQ(e.tag, i % 2 ? uint32_t(R) : uint32_t(C));
        EXPECT_EQ(V(e.data.i32, e.data.i32 + e.count), i % 2 ? V({1, 2, 3, 4}) : V({1})) << i;
    }
}

#if TAMO_CAMERA_METADATA_FAULTS // the host library's failures on demand
// Failures of the metadata library, some made on demand: each is reported
// with its own words and leaves the object as that path has it. Then the
// updates that clear or do not fit.
TEST(Metadata, FailuresAreReportedAndLeaveTheObjectAsTheirPathHasItAsDoUpdates)
{
    struct Disarm {
        ~Disarm() { camera_metadata_fault_reset(); }
    } disarm;
    auto src = ints(4, 64, {{C, 1}, {R, 4}}); // 2 entries, 16 data bytes
    LogCapture capture;
    std::shared_ptr<Metadata> meta;
    for (int from : {0, 1, 2}) { // sizes, a buffer, its own buffer: the old one is gone all the same
        meta = object(src);
        camera_metadata_fail_allocations(1);
        EXPECT_FALSE(from == 0 ? meta->init(8, 32) : meta->init(from == 1 ? src.get() : meta->getFwkMetadata()));
        EXPECT_EQ(meta->getFwkMetadata(), nullptr);
    }
    auto whole = object(src);
    camera_metadata_fail_allocations(1);
    EXPECT_EQ(Metadata::clone(whole)->getFwkMetadata(), nullptr);
    // A failed copy keeps the new, empty buffer: in init, and when growing.
    camera_metadata_fail_once(CAMERA_METADATA_FAULT_APPEND);
    EXPECT_FALSE(meta->init(src.get()));
    EXPECT_TRUE(caps(meta) == Caps(2, 16) && get_camera_metadata_entry_count(meta->getFwkMetadata()) == 0);
    meta = object(src);
    camera_metadata_fail_once(CAMERA_METADATA_FAULT_APPEND);
    EXPECT_FALSE(meta->appendMetadata(src.get()));
    EXPECT_TRUE(caps(meta) == Caps(4, 32) && get_camera_metadata_entry_count(meta->getFwkMetadata()) == 0);
    const std::string check = "0 checkAppendMetaSize: ", a = check + "append check, ", t = check + "target check, ";
    const std::string ofSrc = a + "entry capacity 4, data capacity 64, entry count 2, data count 16,";
    EXPECT_EQ(lines(capture), Lines({"0 init: allocate metadata fail, entryCapacity(8), dataSize(32)",
                                     "0 init: allocate fail", "0 init: allocate fail", "0 init: allocate fail",
                                     "0 init: append metadata failed",
                                     t + "entry capacity 2, data capacity 16, entry count 0, data count 0,", ofSrc,
                                     "0 relocateMetaCheck: append src metadata to relocateMeta failed",
                                     t + "entry capacity 4, data capacity 32, entry count 0, data count 0,",
                                     a + "entry capacity 2, data capacity 16, entry count 2, data count 16,"}));

    // Vendors never mix: both appends report both buffers.
    capture.clear();
    ASSERT_TRUE(meta->init(4, 64) && meta->appendMetadata(ints(1, 16, {{R, 4}}).get()));
    set_camera_metadata_vendor_id(meta->getFwkMetadata(), 1);
    set_camera_metadata_vendor_id(src.get(), 2);
    EXPECT_FALSE(meta->appendMetadata(src.get()) || meta->appendMetadata(object(src)));
    const std::string target = t + "entry capacity 4, data capacity 64, entry count 1, data count 16,";
    EXPECT_EQ(lines(capture), Lines({"0 appendMetadata: append Framework metadata fail", target, ofSrc,
                                     "0 appendMetadata: append TAMO metadata fail", target,
                                     a + "entry capacity 2, data capacity 16, entry count 2, data count 16,"}));

    // Clearing a tag: a failed delete keeps it, a failed add after it loses it.
    capture.clear();
    camera_metadata_fail_once(CAMERA_METADATA_FAULT_DELETE);
    EXPECT_FALSE(meta->updateMetaDataByTag(R, nullptr, 0));
    EXPECT_EQ(values(meta, R), V({1, 2, 3, 4}));
    camera_metadata_fail_once(CAMERA_METADATA_FAULT_ADD);
    EXPECT_FALSE(meta->updateMetaDataByTag(R, nullptr, 0));
    EXPECT_EQ(meta->getMetadataByTag(R).count, 0xFFFFFFFFu);
    std::string out;
    camera_metadata_fail_once(CAMERA_METADATA_FAULT_FIND);
    meta->dumpByTag(R, out);
    EXPECT_EQ(out, "[Find Tag Error]\n");

    // Without a buffer, dumps are errors, which no level gates; an update fails quietly.
    // Cleared, a tag's entry is taken out and added again, empty and now
    // last; an entry already empty stays where it is.
    meta = Metadata::create();
    meta->dump();
    meta->dumpByTag(R, out = "");
    EXPECT_EQ(out, "[metadata is null]\n");
    const V v(17, 7);
    EXPECT_FALSE(meta->updateMetaDataByTag(R, v.data(), 4));
    ASSERT_TRUE(meta->init(4, 64));
    EXPECT_TRUE(meta->updateMetaDataByTag(R, v.data(), 4) && meta->updateMetaDataByTag(R, v.data(), 8) &&
                meta->updateMetaDataByTag(T, v.data(), 1));
    EXPECT_TRUE(meta->updateMetaDataByTag(R, nullptr, 0)); // taken out and added again: now last
    auto entry = meta->getMetadataByTag(R);
    camera_metadata_ro_entry_t last{};
    get_camera_metadata_ro_entry(meta->getFwkMetadata(), 1, &last);
    EXPECT_TRUE(entry.count == 0 && entry.data != nullptr && last.tag == R);
    ASSERT_TRUE(meta->updateMetaDataByTag(F, v.data(), 2) && meta->updateMetaDataByTag(R, nullptr, 0));
    get_camera_metadata_ro_entry(meta->getFwkMetadata(), 2, &last);
    EXPECT_EQ(last.tag, F); // cleared again, an empty entry stays where it is
    EXPECT_TRUE(meta->updateMetaDataByTag(R, v.data(), 2));

    EXPECT_FALSE(meta->updateMetaDataByTag(R, v.data(), 17)); // 72 bytes: no room
    EXPECT_FALSE(meta->init(nullptr));
    EXPECT_EQ(values(meta, R), V({7, 7})); // neither refusal changes anything
    EXPECT_EQ(lines(capture), Lines({"0 updateMetaDataByTag: delete entry fail", "0 updateMetaDataByTag: add entry fail",
                                     "0 dump: dumpMeta, metadata is null", "0 dumpByTag: dumpByTag, metadata is null",
                                     "0 updateMetaDataByTag: update fail", "0 init: structure not currect"}));
}
#endif

TEST(MetadataDump, LinesByTypeAndFrameworkTags)
{
    Logged capture(2);
    std::vector<tamo::AppVendorTagSection> sections;
    VendorTagUtils::getAllVendorTags(sections); // names and types the framework's tags
    uint8_t b[20];
    std::iota(b, b + 20, 0);
    const int32_t i[5] = {1, -2, 3, 4, 5};
    const float f[9] = {1.5f, 0, 0, 0, 0, 0, 0, 0, -0.25f};
    const int64_t l[3] = {-5000000000, 2, 3};
    const double d[5] = {0.25, 1, 2, 3, 4};
    const camera_metadata_rational_t r[3] = {{1, 3}, {2, 5}, {7, 1}};
    const struct { uint32_t tag; const void* data; unsigned int count; } entries[] = {
        {ANDROID_COLOR_CORRECTION_MODE, b, 1}, {ANDROID_COLOR_CORRECTION_ABERRATION_MODE, b, 20}, {R, i, 5},
        {ANDROID_COLOR_CORRECTION_GAINS, f, 9}, {ANDROID_FLASH_FIRING_TIME, l, 3}, {ANDROID_JPEG_GPS_COORDINATES, d, 5},
        {ANDROID_COLOR_CORRECTION_TRANSFORM, r, 3}, {C, i, 0}, {0x80010001, b + 2, 3}, {0x80040000, b, 1},
        {0x80010000, "front", 5}, {0x80070000, b + 1, 1}, {0x80070001, b + 9, 1}};
    auto meta = Metadata::create();
    ASSERT_TRUE(meta->init(16, 1024));
    for (const auto& e : entries)
        ASSERT_TRUE(meta->updateMetaDataByTag(e.tag, e.data, e.count));
    auto* words = reinterpret_cast<uint32_t*>(meta->getFwkMetadata()); // entries of 4 words from word 12
    words[12 + 3] = 7;                                                  // an unknown type for the first
    words[12 + 11 * 4] = 0x80040002, words[12 + 12 * 4] = 0x80080000;  // tags that nobody names
    EXPECT_EQ(meta->getMetadataByTag(ANDROID_COLOR_CORRECTION_MODE).data, nullptr);

    capture.clear();
    meta->dump(); // each line is gated on its own
    tamo::g_logLv = 3;
    meta->dump();
    Lines expected;
    for (const char* line : {"Dumping 13 entries", "\tandroid.colorCorrection.mode (00000) : unknown_type[1]", "\t\t?????",
             "\tandroid.colorCorrection.aberrationMode (00003) : byte[20]",
             "\t\t[ 0 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 ]", "\t\t[ 16 17 18 19 ]",
             "\tandroid.control.aeRegions (10004) : int32[5]", "\t\t[ 1 -2 3 4 ]", "\t\t[ 5 ]",
             "\tandroid.colorCorrection.gains (00002) : float[9]",
             "\t\t[ 1.500000 0.000000 0.000000 0.000000 0.000000 0.000000 0.000000 0.000000 ]", "\t\t[ -0.250000 ]",
             "\tandroid.flash.firingTime (40001) : int64[3]", "\t\t[ -5000000000 2 ]", "\t\t[ 3 ]",
             "\tandroid.jpeg.gpsCoordinates (70000) : double[5]", "\t\t[ 0.250000 1.000000 2.000000 3.000000 ]",
             "\t\t[ 4.000000 ]",
             "\tandroid.colorCorrection.transform (00001) : rational[3]", "\t\t[ 1/3 2/5 ]", "\t\t[ 7/1 ]",
             "\tandroid.control.aeExposureCompensation (10001) : int32[0]",
             "\tcom.tolv.chi.override.LargeSizeThumbnail (80010001) : byte[3]", "\t\t[ TRUE ]",
             "\ttolv.feedback.nextJpeg (80040000) : byte[1]", "\t\t[ FALSE ]",
             "\tcom.tolv.chi.override.CameraType (80010000) : byte[5]", "\t\t[ front ]",
             "\ttolv.feedback.unknown_tag (80040002) : byte[1]", "\t\t[ 1 ]",
             "\tunknown_section.unknown_tag (80080000) : byte[1]", "\t\t[ 9 ]"})
        expected.push_back(std::string("3 dump: ") + line);
    EXPECT_EQ(lines(capture), expected);

    // The string form: no special cases, and an unknown type ends at its tab.
    std::string out = "pre|";
    for (uint32_t tag : {0x80010001u, uint32_t(R), uint32_t(C), uint32_t(T), 0u})
        meta->dumpByTag(tag, out);
    EXPECT_EQ(out, "pre|Tag:com.tolv.chi.override.LargeSizeThumbnail Type:byte\t[ 2 3 4 ], \n"
                   "Tag:android.control.aeRegions Type:int32\t[ 1 -2 3 4 ], [ 5 ], \n"
                   "Tag:android.control.aeExposureCompensation Type:int32\t\n[Tag Not Found]\n"
                   "Tag:android.colorCorrection.mode Type:unknown_type\t");
}

// Which of the requests 1 to 70 a session holds.
Requests held(MetadataPool& pool, unsigned int sessionId)
{
    Requests out;
    for (unsigned int r = 1; r <= 70; r++)
        if (pool.getMetadata(sessionId, r, REQUEST) != nullptr)
            out.push_back(r);
    return out;
}

Requests range(unsigned int first, unsigned int last, Requests out = {})
{
    while (first <= last)
        out.push_back(first++);
    return out;
}

TEST(MetadataPool, RequestEntriesLookupFailuresAndTheNewest65)
{
    Logged capture;
    MetadataPool pool;
    EXPECT_EQ(pool.addSessionEntry(1u), 0);
    auto settings = object(ints(1, 0, {{C, 1}}));
    ASSERT_TRUE(pool.addRequestEntry(1, 5, settings) == 0 && pool.addRequestEntry(1, 6, nullptr) == 0);
    EXPECT_EQ(pool.getMetadata(1, 5, REQUEST), settings); // shared, not copied
    auto result = pool.getMetadata(1, 5, RESULT);
    for (const auto& m : {result, pool.getMetadata(1, 6, REQUEST), pool.getMetadata(1, 6, RESULT)})
        EXPECT_TRUE(m != nullptr && caps(m) == Caps(400, 180000));
    EXPECT_NE(pool.getMetadata(1, 6, REQUEST), pool.getMetadata(1, 6, RESULT));
    EXPECT_TRUE(pool.updateMetadata(1, 5, RESULT, object(ints(1, 8, {{F, 2}}))));
    EXPECT_EQ(pool.getMetadata(1, 5, RESULT), result); // merged into the stored object

    const auto absent = static_cast<MetadataPool::METADATA_TYPE>(2);
    EXPECT_EQ(pool.getMetadata(1, 5, absent), nullptr);
    EXPECT_FALSE(pool.updateMetadata(1, 5, absent, settings));
    set_camera_metadata_vendor_id(result->getFwkMetadata(), 1); // vendors never mix
    set_camera_metadata_vendor_id(settings->getFwkMetadata(), 2);
    EXPECT_FALSE(pool.updateMetadata(1, 5, RESULT, settings));
    EXPECT_EQ(pool.removeRequestEntry(1, 5), 0);
    EXPECT_EQ(pool.removeRequestEntry(1, 5), 0); // already gone: not an error
    EXPECT_EQ(pool.getMetadata(1, 5, RESULT), nullptr);
    EXPECT_FALSE(pool.updateMetadata(1, 5, RESULT, settings));
    EXPECT_TRUE(pool.addRequestEntry(9, 1, nullptr) == -1 && pool.removeRequestEntry(9, 1) == -1);
    EXPECT_EQ(pool.getMetadata(9, 1, RESULT), nullptr);
    EXPECT_FALSE(pool.updateMetadata(9, 1, RESULT, settings));
    const std::string check = "0 checkAppendMetaSize: ", noSession = " Cannot find session 9 in the map";
    EXPECT_EQ(lines(capture), Lines({
        "0 getMetadata: Cannot find metadata type(2) in request 5",
        "0 updateMetadata: Cannot find metadata type(2) in request 5", "0 appendMetadata: append TAMO metadata fail",
        check + "target check, entry capacity 400, data capacity 180000, entry count 1, data count 8,",
        check + "append check, entry capacity 1, data capacity 0, entry count 1, data count 0,",
        "0 updateMetadata: Cannot append matadata type(1) in request 5", "0 getMetadata: Cannot find request 5",
        "0 updateMetadata: Cannot find request 5", "0 addRequestEntry:" + noSession,
        "0 removeRequestEntry:" + noSession, "0 getMetadata:" + noSession, "0 updateMetadata:" + noSession}));
    EXPECT_EQ(values(result, F), V({1, 2})); // outlives its entry

    // The dump shows each kind of the request left, at the verbose level only.
    capture.clear();
    tamo::g_logLv = 3;
    pool.dump();
    tamo::g_logLv = 0;
    pool.dump();
    const std::string d = "3 dump: ", none = d + "Dumping 0 entries", t0 = d + "            Type(0):",
                      t1 = d + "            Type(1):";
    Lines expected = {d + "MetadataPool Dump begin", d + "    Session: id(1)", d + "        Request 6:", t0, none,
                      t1, none, d + "MetadataPool Dump end"};
    if (lines(capture).at(3) == t1) // kinds come in table order
        std::swap(expected[3], expected[5]);
    EXPECT_EQ(lines(capture), expected);

    // A session keeps its newest 65 requests. Re-adding on a full table
    // evicts first, then replaces the request's kinds.
    pool.addSessionEntry(2u);
    pool.addRequestEntry(2, 1, nullptr);
    for (unsigned int r = 1; r <= 70; r++)
        pool.addRequestEntry(1, r, nullptr);
    EXPECT_EQ(held(pool, 1), range(6, 70));
    pool.addRequestEntry(1, 30, settings);
    EXPECT_EQ(held(pool, 1), range(7, 70));
    EXPECT_EQ(pool.getMetadata(1, 30, REQUEST), settings);
    pool.addRequestEntry(1, 3, nullptr);  // 64 held: nothing evicted
    pool.addRequestEntry(1, 3, settings); // 65: evicts 3 itself, then adds it back
    EXPECT_EQ(held(pool, 1), range(7, 70, {3}));
    EXPECT_EQ(pool.getMetadata(1, 3, REQUEST), settings);

    // Registering a session again drops its requests, and only its own.
    EXPECT_EQ(pool.addSessionEntry(std::vector<unsigned int>{3, 1, 1}), 0);
    EXPECT_TRUE(held(pool, 1).empty() && held(pool, 2) == Requests{1});
}

// Settings whose buffer is handed over only once released, so that merging
// them holds the session lock for as long as the test needs.
struct GateMetadata : MetadataImpl {
    camera_metadata* getFwkMetadata() override
    {
        entered = true;
        waitUntil([this] { return open.load(); }, std::chrono::seconds(60));
        return settings->getFwkMetadata();
    }
    std::atomic<bool> entered{false}, open{false};
    std::shared_ptr<Metadata> settings = object(ints(1, 0, {{C, 1}}));
};

TEST(MetadataPool, OnlyDumpHoldsASessionLockUnderThePoolLock)
{
    Logged capture(3);
    MetadataPool pool;
    pool.addSessionEntry(std::vector<unsigned int>{1, 2});
    pool.addRequestEntry(1, 10, nullptr);
    pool.addRequestEntry(2, 20, nullptr);

    // A holds session 1's lock while it merges; B then waits for that lock.
    auto gate = std::make_shared<GateMetadata>();
    auto a = std::async(std::launch::async, [&] { return pool.updateMetadata(1, 10, RESULT, gate); });
    ASSERT_TRUE(waitUntil([&] { return gate->entered.load(); }));
    std::atomic<long> bThread{0};
    auto b = std::async(std::launch::async, [&] {
        bThread = threadId();
        return pool.getMetadata(1, 10, RESULT);
    });
    // Asleep on the session lock, the only one held.
    EXPECT_TRUE(waitUntil([&] { return bThread != 0 && parkedOn(bThread); }));

    // Neither holds the pool lock, so the pool and other sessions carry on.
    auto others = std::async(std::launch::async, [&] {
        return pool.addSessionEntry(3u) == 0 && pool.addRequestEntry(2, 21, nullptr) == 0 &&
               pool.updateMetadata(2, 20, RESULT, object(ints(1, 0, {{C, 1}}))) &&
               pool.getMetadata(2, 20, RESULT) != nullptr && pool.removeRequestEntry(2, 21) == 0;
    });
    EXPECT_EQ(others.wait_for(5s), std::future_status::ready);

    // The dump waits for session 1 with the pool lock held.
    auto d = std::async(std::launch::async, [&] { pool.dump(); });
    EXPECT_TRUE(waitUntil([&] { return capture.hasMessage("    Session: id(1)"); }));
    auto blocked = std::async(std::launch::async, [&] { return pool.addSessionEntry(4u); });
    EXPECT_EQ(blocked.wait_for(100ms), std::future_status::timeout);

    gate->open = true;
    EXPECT_TRUE(a.get() && b.get() != nullptr && others.get() && blocked.get() == 0);
}

} // namespace
