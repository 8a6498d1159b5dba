#include "cachelisting.h"

#include "attachfailure.h"
#include "printable.h"
#include "registrylookup.h"
#include "segmentfacts.h"

#include <cerrno>
#include <cstdio>
#include <map>
#include <string_view>
#include <system_error>
#include <unistd.h>

namespace reader {
namespace {

struct Caches {
    std::map<std::string, std::string> lines; /* by location */
    int numRefused = 0;                       /* registry files that may not be read */
};

/* Why the cache may not be attached; empty when it may. */
std::string refusalOf(const NetInfoSType& record) {
    if (record.ftok_key == 0 || record.ftok_key == -1) {
        return "its monitor has recorded no memory segment";
    }
    const int error = attachRefusal(record.ftok_key);
    if (error == ENOENT) {
        return "its memory segment is gone";
    }
    if (error != EACCES) {
        return error == 0 ? "" : std::generic_category().message(error);
    }
    const auto segment = segmentWithKey(record.ftok_key);
    return segment ? rightsNeeded(*segment) : "no permission";
}

void appendMember(std::string& line, const char* key, std::string_view value) {
    line += std::string(line.empty() ? "{" : ",") + "\"" + key + "\":";
    line += value;
}

std::string jsonString(std::string_view bytes) {
    std::string text;
    samples::appendJsonString(text, bytes);
    return text;
}

std::string lineOf(std::string_view location, const NetInfoSType& record) {
    const std::string refusal = refusalOf(record);
    std::string line;
    appendMember(line, "brox", jsonString(location.substr(0, location.rfind('~'))));
    appendMember(line, "location", jsonString(location));
    appendMember(line, "pid", std::to_string(record.processId));
    appendMember(line, "user", jsonString(record.creator));
    appendMember(line, "started",
                 record.timeStamp == 0 ? "null" : std::to_string(record.timeStamp));
    appendMember(line, "version", jsonString(record.version));
    appendMember(line, "readable", refusal.empty() ? "true" : "false");
    appendMember(line, "refusal", refusal.empty() ? "null" : jsonString(refusal));
    return line + "}\n";
}

BoolType addCache(int /*count*/, const char* name, NetInfoResultEnum result, NetInfoSType* record,
                  void* userData) {
    auto& caches = *static_cast<Caches*>(userData);
    if (result == NIRES_ERROR) {
        char path[4097];
        NetInfoLocalLockFileName(name, path, sizeof path);
        const bool isRefused = access(path, R_OK) != 0 && errno == EACCES;
        caches.numRefused += isRefused ? 1 : 0;
    } else if ((result & NIRES_usableMask) != 0 && record->kind == NI_SHRPCMON) {
        caches.lines.emplace(name, lineOf(name, *record));
    }
    return FALSE;
}

} // namespace

std::variant<Listing, samples::Failure> listCaches() {
    if (auto failure = explainNoRegistry()) {
        return *failure;
    }
    waitForHostId();
    Caches caches;
    NetInfoLocalForeach(nullptr, addCache, &caches, nullptr, nullptr);
    std::string warning;
    if (caches.numRefused > 0) {
        warning = std::to_string(caches.numRefused) +
                  " registry files may not be read by this user; " + whereSearched();
    }
    if (caches.lines.empty()) {
        return caches.numRefused > 0
                   ? Failure{ExitStatus::NoPermission, "no cache can be seen: " + warning}
                   : Failure{ExitStatus::NoCache,
                             "no cache runs on this host: " + whereSearched() + pidNamespaceHint()};
    }
    Listing listing{{}, warning};
    for (const auto& [location, line] : caches.lines) {
        listing.lines += line;
    }
    return listing;
}

} // namespace reader
