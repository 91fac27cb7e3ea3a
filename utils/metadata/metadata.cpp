#include "metadata/metadata.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "TamoLog.h"

namespace tamo {

namespace {

using MetadataBuffer = std::unique_ptr<camera_metadata, std::function<void(camera_metadata*)>>;

constexpr unsigned int kDefaultEntryCapacity = 400;
constexpr unsigned int kDefaultDataCapacity = 180000;
constexpr uint32_t kAbsentCount = 0xFFFFFFFF;

// Framework vendor tags that dumps show as a flag or as text, whatever their count.
constexpr uint32_t kCameraTypeTag = 0x80010000;         // com.tolv.chi.override.CameraType
constexpr uint32_t kLargeSizeThumbnailTag = 0x80010001; // com.tolv.chi.override.LargeSizeThumbnail
constexpr uint32_t kNextJpegTag = 0x80040000;           // tolv.feedback.nextJpeg

// Values per printed line, by type code.
constexpr size_t kValuesPerLine[NUM_TYPES] = {16, 4, 8, 2, 4, 2};

// Every buffer an object owns comes from here, so it always carries the
// deleter that matches its allocator.
MetadataBuffer allocator(unsigned int entryCapacity, unsigned int dataCapacity)
{
    return MetadataBuffer(allocate_camera_metadata(entryCapacity, dataCapacity),
                          [](camera_metadata* meta) { free_camera_metadata(meta); });
}

// Replacing or growing frees the owned buffer before it is read, so a source
// that is the owned buffer is read from an exact copy, kept in copy. Null
// when the copy cannot be made, which fails the caller.
const camera_metadata* appendSource(const camera_metadata* src, const camera_metadata* own,
                                    MetadataBuffer& copy)
{
    if (src == nullptr || src != own)
        return src;
    copy = allocator(static_cast<unsigned int>(get_camera_metadata_entry_count(src)),
                     static_cast<unsigned int>(get_camera_metadata_data_count(src)));
    if (copy != nullptr && append_camera_metadata(copy.get(), src) != 0)
        copy.reset();
    return copy.get();
}

// Logs both buffers' room after a failed append, target first.
void checkAppendMetaSize(const camera_metadata* target, const camera_metadata* src)
{
    TAMO_LOGE("target check, entry capacity %d, data capacity %d, entry count %d, data count %d,",
              static_cast<int>(MetadataUtils::getCameraMetadataEntryCapacity(target)),
              static_cast<int>(MetadataUtils::getCameraMetadataDataCapacity(target)),
              static_cast<int>(MetadataUtils::getCameraMetadataEntryCount(target)),
              static_cast<int>(MetadataUtils::getCameraMetadataDataCount(target)));
    TAMO_LOGE("append check, entry capacity %d, data capacity %d, entry count %d, data count %d,",
              static_cast<int>(MetadataUtils::getCameraMetadataEntryCapacity(src)),
              static_cast<int>(MetadataUtils::getCameraMetadataDataCapacity(src)),
              static_cast<int>(MetadataUtils::getCameraMetadataEntryCount(src)),
              static_cast<int>(MetadataUtils::getCameraMetadataDataCount(src)));
}

const char* sectionName(uint32_t tag)
{
    const char* name = get_camera_metadata_section_name(tag);
    return name != nullptr ? name : "unknown_section";
}

const char* tagName(uint32_t tag)
{
    const char* name = get_camera_metadata_tag_name(tag);
    return name != nullptr ? name : "unknown_tag";
}

const char* typeName(uint8_t type)
{
    return type < NUM_TYPES ? camera_metadata_type_names[type] : "unknown_type";
}

void appendValue(std::string& line, const camera_metadata_ro_entry& entry, size_t i)
{
    line += ' ';
    switch (entry.type) {
    case TYPE_BYTE:
        line += std::to_string(static_cast<unsigned int>(entry.data.u8[i]));
        break;
    case TYPE_INT32:
        line += std::to_string(static_cast<int>(entry.data.i32[i]));
        break;
    case TYPE_FLOAT:
        line += std::to_string(entry.data.f[i]);
        break;
    case TYPE_INT64:
        line += std::to_string(static_cast<long>(entry.data.i64[i]));
        break;
    case TYPE_DOUBLE:
        line += std::to_string(entry.data.d[i]);
        break;
    case TYPE_RATIONAL:
        line += std::to_string(static_cast<int>(entry.data.r[i].numerator));
        line += '/';
        line += std::to_string(static_cast<int>(entry.data.r[i].denominator));
        break;
    default:
        break;
    }
}

// Renders the values [first, first + count) of an entry of a known type as
// one line, "[ v v v".
void renderLine(const camera_metadata_ro_entry& entry, size_t first, size_t count, std::string& line)
{
    line.assign("[");
    const size_t end = std::min(entry.count, first + count);
    for (size_t i = first; i < end; i++)
        appendValue(line, entry, i);
}

} // namespace

std::shared_ptr<Metadata> Metadata::create()
{
    return std::make_shared<MetadataImpl>();
}

std::shared_ptr<Metadata> Metadata::clone(std::shared_ptr<Metadata> meta)
{
    std::shared_ptr<Metadata> copy = create();
    copy->init(meta != nullptr ? meta->getFwkMetadata() : nullptr);
    return copy;
}

std::shared_ptr<Metadata> Metadata::clone(std::shared_ptr<Metadata> meta,
                                          unsigned int entryCapacity, unsigned int dataCapacity)
{
    std::shared_ptr<Metadata> copy = create();
    const camera_metadata* src = meta != nullptr ? meta->getFwkMetadata() : nullptr;
    const size_t entryCount = MetadataUtils::getCameraMetadataEntryCount(src);
    const size_t dataCount = MetadataUtils::getCameraMetadataDataCount(src);
    if (static_cast<uint32_t>(entryCount) > entryCapacity)
        entryCapacity = static_cast<uint32_t>(entryCount);
    if (static_cast<uint32_t>(dataCount) > dataCapacity)
        dataCapacity = static_cast<uint32_t>(dataCount);
    copy->init(entryCapacity, dataCapacity);
    copy->appendMetadata(meta);
    return copy;
}

MetadataImpl::~MetadataImpl() {}

bool MetadataImpl::init(unsigned int entryCapacity, unsigned int dataCapacity)
{
    mMeta = allocator(entryCapacity, dataCapacity);
    if (mMeta == nullptr) {
        TAMO_LOGE("allocate metadata fail, entryCapacity(%u), dataSize(%u)", entryCapacity,
                  dataCapacity);
        return false;
    }
    return true;
}

bool MetadataImpl::init(const camera_metadata* meta)
{
    if (validate_camera_metadata_structure(meta, nullptr) != 0) {
        TAMO_LOGE("structure not currect");
        return false;
    }
    MetadataBuffer self;
    meta = appendSource(meta, mMeta.get(), self);
    mMeta = meta != nullptr
            ? allocator(static_cast<unsigned int>(get_camera_metadata_entry_count(meta)),
                        static_cast<unsigned int>(get_camera_metadata_data_count(meta)))
            : nullptr;
    if (mMeta == nullptr) {
        TAMO_LOGE("allocate fail");
        return false;
    }
    if (append_camera_metadata(mMeta.get(), meta) != 0) {
        TAMO_LOGE("append metadata failed");
        checkAppendMetaSize(mMeta.get(), meta);
        return false;
    }
    return true;
}

bool MetadataImpl::updateMetaDataByTag(unsigned int tag, const void* data, unsigned int count)
{
    camera_metadata_entry_t entry;
    std::memset(&entry, 0, sizeof(entry));
    if (find_camera_metadata_entry(mMeta.get(), tag, &entry) != 0)
        return add_camera_metadata_entry(mMeta.get(), tag, data, count) == 0;

    if (count != 0 || entry.count == 0) {
        if (update_camera_metadata_entry(mMeta.get(), entry.index, data, count, nullptr) != 0) {
            TAMO_LOGE("update fail");
            return false;
        }
        return true;
    }

    // Clearing keeps the tag, with no elements, so readers see it was set.
    if (delete_camera_metadata_entry(mMeta.get(), entry.index) != 0) {
        TAMO_LOGE("delete entry fail");
        return false;
    }
    if (add_camera_metadata_entry(mMeta.get(), tag, data, 0) != 0) {
        TAMO_LOGE("add entry fail");
        return false;
    }
    return true;
}

MetadataEntryData MetadataImpl::getMetadataByTag(unsigned int tag)
{
    camera_metadata_entry_t entry;
    std::memset(&entry, 0, sizeof(entry));
    if (find_camera_metadata_entry(mMeta.get(), tag, &entry) != 0)
        return {kAbsentCount, nullptr};
    const void* data = entry.type < NUM_TYPES ? entry.data.u8 : nullptr;
    return {static_cast<uint32_t>(entry.count), data};
}

bool MetadataImpl::relocateMetaCheck(const camera_metadata* src)
{
    const size_t srcEntries = MetadataUtils::getCameraMetadataEntryCount(src);
    const size_t srcData = MetadataUtils::getCameraMetadataDataCount(src);

    if (mMeta == nullptr) {
        if (srcEntries != 0 && srcData != 0)
            init(static_cast<unsigned int>(srcEntries), static_cast<unsigned int>(srcData));
        else
            init(kDefaultEntryCapacity, kDefaultDataCapacity);
        return true;
    }

    const size_t entries = MetadataUtils::getCameraMetadataEntryCount(mMeta.get());
    const size_t data = MetadataUtils::getCameraMetadataDataCount(mMeta.get());
    const size_t entryCapacity = MetadataUtils::getCameraMetadataEntryCapacity(mMeta.get());
    const size_t dataCapacity = MetadataUtils::getCameraMetadataDataCapacity(mMeta.get());
    const uint64_t neededEntries = static_cast<uint64_t>(entries) + srcEntries;
    const uint64_t neededData = static_cast<uint64_t>(data) + srcData;
    const bool overflow = neededEntries < entries || neededData < data;
    if (!overflow && entryCapacity >= neededEntries && dataCapacity >= neededData)
        return true;

    // Exactly the sum: callers that expect more reserve it through clone() or init().
    MetadataBuffer old = std::move(mMeta);
    mMeta = allocator(static_cast<unsigned int>(neededEntries),
                      static_cast<unsigned int>(neededData));
    // Entries without data-area bytes are not carried over.
    if (entries != 0 && data != 0 && append_camera_metadata(mMeta.get(), old.get()) != 0) {
        TAMO_LOGE("append src metadata to relocateMeta failed");
        checkAppendMetaSize(mMeta.get(), old.get());
        return false;
    }
    return true;
}

bool MetadataImpl::appendMetadata(const camera_metadata* meta)
{
    MetadataBuffer self;
    meta = appendSource(meta, mMeta.get(), self);
    if (!relocateMetaCheck(meta))
        return false;
    if (append_camera_metadata(mMeta.get(), meta) != 0) {
        TAMO_LOGE("append Framework metadata fail");
        checkAppendMetaSize(mMeta.get(), meta);
        return false;
    }
    return true;
}

bool MetadataImpl::appendMetadata(std::shared_ptr<Metadata> meta)
{
    MetadataBuffer self;
    const camera_metadata* src =
        appendSource(meta != nullptr ? meta->getFwkMetadata() : nullptr, mMeta.get(), self);
    if (!relocateMetaCheck(src))
        return false;
    if (append_camera_metadata(mMeta.get(), src) != 0) {
        TAMO_LOGE("append TAMO metadata fail");
        checkAppendMetaSize(mMeta.get(), src);
        return false;
    }
    return true;
}

size_t MetadataImpl::getMetadataSize()
{
    return get_camera_metadata_size(mMeta.get());
}

camera_metadata* MetadataImpl::getFwkMetadata()
{
    return mMeta.get();
}

void MetadataImpl::dump()
{
    if (mMeta == nullptr) {
        TAMO_LOGE("dumpMeta, metadata is null");
        return;
    }
    const unsigned int count = static_cast<unsigned int>(get_camera_metadata_entry_count(mMeta.get()));
    TAMO_LOGV_IF_ENABLED("Dumping %u entries", count);
    if (count == 0)
        return;

    std::string line;
    for (unsigned int i = 0; i < count; i++) {
        camera_metadata_ro_entry_t entry;
        std::memset(&entry, 0, sizeof(entry));
        if (get_camera_metadata_ro_entry(mMeta.get(), i, &entry) != 0)
            continue;

        TAMO_LOGV_IF_ENABLED("\t%s.%s (%05x) : %s[%u]", sectionName(entry.tag),
                             tagName(entry.tag), entry.tag, typeName(entry.type),
                             static_cast<unsigned int>(entry.count));
        if (entry.type >= NUM_TYPES) {
            TAMO_LOGV_IF_ENABLED("\t\t?????");
            continue;
        }

        if (entry.tag == kLargeSizeThumbnailTag || entry.tag == kNextJpegTag) {
            const char* flag = entry.data.u8[0] != 0 ? "TRUE" : "FALSE";
            TAMO_LOGV_IF_ENABLED("\t\t[ %s ]", flag);
            continue;
        }
        if (entry.tag == kCameraTypeTag) {
            const std::string text(reinterpret_cast<const char*>(entry.data.u8), entry.count);
            TAMO_LOGV_IF_ENABLED("\t\t[ %s ]", text.c_str());
            continue;
        }

        const size_t perLine = kValuesPerLine[entry.type];
        for (size_t first = 0; first < entry.count; first += perLine) {
            renderLine(entry, first, perLine, line);
            TAMO_LOGV_IF_ENABLED("\t\t%s ]", line.c_str());
        }
    }
}

void MetadataImpl::dumpByTag(unsigned int tag, std::string& out)
{
    if (mMeta == nullptr) {
        out += "[metadata is null]\n";
        TAMO_LOGE("dumpByTag, metadata is null");
        return;
    }

    camera_metadata_ro_entry_t entry;
    std::memset(&entry, 0, sizeof(entry));
    const int res = find_camera_metadata_ro_entry(mMeta.get(), tag, &entry);
    if (res != 0) {
        out += res == -ENOENT ? "[Tag Not Found]\n" : "[Find Tag Error]\n";
        return;
    }

    out += "Tag:";
    out += sectionName(tag);
    out += ".";
    out += tagName(tag);
    out += " Type:";
    out += typeName(entry.type);
    out += "\t";
    if (entry.type >= NUM_TYPES)
        return;

    const size_t perLine = kValuesPerLine[entry.type];
    std::string line;
    for (size_t first = 0; first < entry.count; first += perLine) {
        renderLine(entry, first, perLine, line);
        out += line;
        out += " ], ";
    }
    out += "\n";
}

size_t MetadataUtils::getCameraMetadataSize(const camera_metadata* meta)
{
    return get_camera_metadata_size(meta);
}

size_t MetadataUtils::getCameraMetadataEntryCount(const camera_metadata* meta)
{
    return meta != nullptr ? get_camera_metadata_entry_count(meta) : 0;
}

size_t MetadataUtils::getCameraMetadataEntryCapacity(const camera_metadata* meta)
{
    return meta != nullptr ? get_camera_metadata_entry_capacity(meta) : 0;
}

size_t MetadataUtils::getCameraMetadataDataCount(const camera_metadata* meta)
{
    return meta != nullptr ? get_camera_metadata_data_count(meta) : 0;
}

size_t MetadataUtils::getCameraMetadataDataCapacity(const camera_metadata* meta)
{
    return meta != nullptr ? get_camera_metadata_data_capacity(meta) : 0;
}

} // namespace tamo
