#include <tamo/MetadataPool.h>

#include "TamoLog.h"

namespace tamo {

namespace {

constexpr size_t kMaxRequestsPerSession = 65;
constexpr unsigned int kResultEntryCapacity = 400;
constexpr unsigned int kResultDataCapacity = 180000;

} // namespace

MetadataPool::MetadataPool() {}

MetadataPool::~MetadataPool()
{
    mSessions.clear();
}

int MetadataPool::addSessionEntry(unsigned int sessionId)
{
    std::lock_guard<std::mutex> guard(mLock);
    mSessions[sessionId] = std::make_shared<SessionMetadata>();
    return 0;
}

int MetadataPool::addSessionEntry(std::vector<unsigned int> sessionIds)
{
    std::lock_guard<std::mutex> guard(mLock);
    for (unsigned int sessionId : sessionIds)
        mSessions[sessionId] = std::make_shared<SessionMetadata>();
    return 0;
}

bool MetadataPool::findSession(unsigned int sessionId, std::shared_ptr<SessionMetadata>& session)
{
    std::lock_guard<std::mutex> guard(mLock);
    auto it = mSessions.find(sessionId);
    if (it == mSessions.end())
        return false;
    session = it->second;
    return true;
}

int MetadataPool::addRequestEntry(unsigned int sessionId, unsigned int requestNum,
                                  std::shared_ptr<Metadata> meta)
{
    std::shared_ptr<SessionMetadata> session;
    if (!findSession(sessionId, session)) {
        TAMO_LOGE("Cannot find session %u in the map", sessionId);
        return -1;
    }
    if (session == nullptr)
        return -1;

    std::lock_guard<std::mutex> guard(session->lock);
    if (session->requests.size() >= kMaxRequestsPerSession)
        session->requests.erase(session->requests.begin());

    auto types = std::make_shared<TypeTable>();
    session->requests[requestNum] = types;
    for (METADATA_TYPE type : {METADATA_TYPE_REQUEST, METADATA_TYPE_RESULT}) {
        std::shared_ptr<Metadata> fresh = Metadata::create();
        fresh->init(kResultEntryCapacity, kResultDataCapacity);
        if (type == METADATA_TYPE_REQUEST && meta != nullptr)
            types->emplace(type, meta);
        else
            types->emplace(type, std::move(fresh));
    }
    return 0;
}

int MetadataPool::removeRequestEntry(unsigned int sessionId, unsigned int requestNum)
{
    std::shared_ptr<SessionMetadata> session;
    if (!findSession(sessionId, session)) {
        TAMO_LOGE("Cannot find session %u in the map", sessionId);
        return -1;
    }
    if (session == nullptr)
        return -1;

    std::lock_guard<std::mutex> guard(session->lock);
    session->requests.erase(requestNum);
    return 0;
}

std::shared_ptr<Metadata> MetadataPool::getMetadata(unsigned int sessionId,
                                                    unsigned int requestNum, METADATA_TYPE type)
{
    std::shared_ptr<SessionMetadata> session;
    if (!findSession(sessionId, session)) {
        TAMO_LOGE("Cannot find session %u in the map", sessionId);
        return nullptr;
    }
    if (session == nullptr)
        return nullptr;

    std::lock_guard<std::mutex> guard(session->lock);
    auto request = session->requests.find(requestNum);
    if (request == session->requests.end()) {
        TAMO_LOGE("Cannot find request %u", requestNum);
        return nullptr;
    }
    auto entry = request->second->find(type);
    if (entry == request->second->end()) {
        TAMO_LOGE("Cannot find metadata type(%d) in request %u", static_cast<int>(type),
                  requestNum);
        return nullptr;
    }
    return entry->second;
}

bool MetadataPool::updateMetadata(unsigned int sessionId, unsigned int requestNum,
                                  METADATA_TYPE type, std::shared_ptr<Metadata> meta)
{
    std::shared_ptr<SessionMetadata> session;
    if (!findSession(sessionId, session)) {
        TAMO_LOGE("Cannot find session %u in the map", sessionId);
        return false;
    }
    if (session == nullptr)
        return true;

    std::lock_guard<std::mutex> guard(session->lock);
    auto request = session->requests.find(requestNum);
    if (request == session->requests.end()) {
        TAMO_LOGE("Cannot find request %u", requestNum);
        return false;
    }
    auto entry = request->second->find(type);
    if (entry == request->second->end()) {
        TAMO_LOGE("Cannot find metadata type(%d) in request %u", static_cast<int>(type),
                  requestNum);
        return false;
    }
    // Merged under the session lock: the append may relocate the stored buffer.
    if (!entry->second->appendMetadata(std::move(meta))) {
        TAMO_LOGE("Cannot append matadata type(%d) in request %u", static_cast<int>(type),
                  requestNum);
        return false;
    }
    return true;
}

void MetadataPool::dump()
{
    TAMO_LOGV_IF_ENABLED("MetadataPool Dump begin");
    std::lock_guard<std::mutex> poolGuard(mLock);
    for (const auto& [sessionId, session] : mSessions) {
        TAMO_LOGV_IF_ENABLED("    Session: id(%u)", sessionId);
        if (session == nullptr)
            continue;
        std::lock_guard<std::mutex> sessionGuard(session->lock);
        for (const auto& [requestNum, types] : session->requests) {
            TAMO_LOGV_IF_ENABLED("        Request %u:", requestNum);
            for (const auto& [type, meta] : *types) {
                TAMO_LOGV_IF_ENABLED("            Type(%d):", static_cast<int>(type));
                if (meta != nullptr)
                    meta->dump();
            }
        }
    }
    TAMO_LOGV_IF_ENABLED("MetadataPool Dump end");
}

} // namespace tamo
