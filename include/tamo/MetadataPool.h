/*
 * The metadata of in-flight capture requests, by session, request number and
 * kind. Each session keeps at most 65 requests, dropping the smallest number.
 *
 * Locking: the pool lock guards the session table only, each session's lock
 * its requests. Request operations hold one of them at a time; dump() holds
 * the pool lock and then each session's in turn.
 */
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

#include <tamo/Metadata.h>

namespace tamo {

class MetadataPool {
public:
    enum METADATA_TYPE : int32_t {
        METADATA_TYPE_REQUEST = 0, // the request's settings, shared with the caller
        METADATA_TYPE_RESULT = 1,  // results merged in by updateMetadata()
    };

    using TypeTable = std::unordered_map<METADATA_TYPE, std::shared_ptr<Metadata>>;

    struct SessionMetadata {
        std::mutex lock;
        // Ordered: eviction drops the smallest request number.
        std::map<unsigned int, std::shared_ptr<TypeTable>> requests;
    };

    MetadataPool();
    ~MetadataPool();
    MetadataPool(const MetadataPool&) = delete;
    MetadataPool& operator=(const MetadataPool&) = delete;

    // Registers a session, replacing any of the same id. Returns 0.
    int addSessionEntry(unsigned int sessionId);
    int addSessionEntry(std::vector<unsigned int> sessionIds);

    // 0 on success, -1 when the session is unknown.
    int addRequestEntry(unsigned int sessionId, unsigned int requestNum,
                        std::shared_ptr<Metadata> meta);
    int removeRequestEntry(unsigned int sessionId, unsigned int requestNum);

    // The pool's own object, shared; empty when not found.
    std::shared_ptr<Metadata> getMetadata(unsigned int sessionId, unsigned int requestNum,
                                          METADATA_TYPE type);
    // Appends meta into the stored object of that type.
    bool updateMetadata(unsigned int sessionId, unsigned int requestNum, METADATA_TYPE type,
                        std::shared_ptr<Metadata> meta);

    void dump();

private:
    // Copies the session out under the pool lock; false when the id is unknown.
    bool findSession(unsigned int sessionId, std::shared_ptr<SessionMetadata>& session);

    std::mutex mLock;
    std::unordered_map<unsigned int, std::shared_ptr<SessionMetadata>> mSessions;
};

} // namespace tamo
