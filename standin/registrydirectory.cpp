#include "registrydirectory.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <pwd.h>
#include <sstream>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace standin {
namespace {

using std::filesystem::path;

constexpr const char* recordSuffix = "..LCK";

class FileDescriptor {
public:
    explicit FileDescriptor(int fd) : fd_(fd) {}
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    ~FileDescriptor() {
        if (fd_ != -1) {
            close(fd_);
        }
    }
    int get() const { return fd_; }

private:
    int fd_;
};

[[noreturn]] void fail(const std::string& what, const path& file) {
    throw std::system_error(errno, std::generic_category(), what + " " + file.string());
}

void writeWhole(const path& file, std::string_view bytes) {
    const FileDescriptor fd(open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    if (fd.get() == -1) {
        fail("cannot create", file);
    }
    while (!bytes.empty()) {
        const ssize_t written = write(fd.get(), bytes.data(), bytes.size());
        if (written == -1 && errno != EINTR) {
            fail("cannot write", file);
        }
        bytes.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
    }
}

std::optional<std::string> readWhole(const path& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        return std::nullopt;
    }
    return std::string(std::istreambuf_iterator<char>(in), {});
}

template <std::size_t size> void putText(char (&field)[size], const std::string& text) {
    text.copy(field, size);
}

template <std::size_t size> std::string getText(const char (&field)[size]) {
    return std::string(field, strnlen(field, size));
}

/* The strings behind the header, in the order of the file. */
template <typename Record> auto stringsOf(Record& record) {
    return std::array{&record.logFile,     &record.productDirectory, &record.commandLine,
                      &record.configFile1, &record.configFile2,      &record.executablePath};
}

std::string ownUserName() {
    const passwd* user = getpwuid(geteuid());
    return user != nullptr ? user->pw_name : std::to_string(geteuid());
}

std::string ownCommandLine() {
    std::string line = readWhole("/proc/self/cmdline").value_or("");
    if (!line.empty() && line.back() == '\0') {
        line.pop_back();
    }
    std::replace(line.begin(), line.end(), '\0', ' ');
    return line;
}

} // namespace

std::string encode(const RegistryRecord& record) {
    NetInfoTx64_34xSType header{};
    header._port = record.port;
    header.ftok_key = record.key;
    header.processId = record.processId;
    header.kind = record.kind;
    const auto creationTime = static_cast<std::uint64_t>(record.creationTime);
    header.creationTimeL = static_cast<std::uint32_t>(creationTime);
    header.creationTimeH = static_cast<std::uint32_t>(creationTime >> 32);
    putText(header.creator, record.creator);
    putText(header.version, record.version);

    /* The short form is the long one without its last field. */
    const std::size_t headerSize =
        record.form == HeaderForm::bytes48 ? sizeof(NetInfoTx64_3xSType) : sizeof header;
    std::string bytes(reinterpret_cast<const char*>(&header), headerSize);
    if (record.withStrings) {
        for (const std::string* text : stringsOf(record)) {
            bytes.append(text->c_str(), text->size() + 1);
        }
    }
    return bytes;
}

std::optional<RegistryRecord> decode(std::string_view bytes) {
    NetInfoTx64_34xSType header{};
    if (bytes.size() < sizeof header) {
        return std::nullopt;
    }
    std::memcpy(&header, bytes.data(), sizeof header);
    bytes.remove_prefix(sizeof header);

    RegistryRecord record;
    record.port = static_cast<std::uint16_t>(header._port);
    record.key = header.ftok_key;
    record.processId = header.processId;
    record.kind = header.kind;
    record.creationTime = static_cast<std::int64_t>(
        static_cast<std::uint64_t>(header.creationTimeH) << 32 | header.creationTimeL);
    record.creator = getText(header.creator);
    record.version = getText(header.version);
    for (std::string* text : stringsOf(record)) {
        const std::size_t length = std::min(bytes.find('\0'), bytes.size());
        *text = bytes.substr(0, length);
        bytes.remove_prefix(std::min(length + 1, bytes.size()));
    }
    return record;
}

RegistryRecord recordOfThisProcess(NetInfoEnum kind) {
    RegistryRecord record;
    record.processId = getpid();
    record.kind = kind;
    record.creationTime = std::time(nullptr);
    record.creator = ownUserName();
    record.commandLine = ownCommandLine();
    record.executablePath = std::filesystem::read_symlink("/proc/self/exe").string();
    record.productDirectory = path(record.executablePath).parent_path().string();
    return record;
}

RegistryRecord monitorRecord(pid_t monitor, key_t key) {
    RegistryRecord record = recordOfThisProcess(NI_SHRPCMON);
    record.processId = monitor;
    record.key = static_cast<std::uint32_t>(key);
    return record;
}

RegistryRecord broxRecord(pid_t brox) {
    RegistryRecord record = recordOfThisProcess(NI_BROX);
    record.processId = brox;
    return record;
}

std::string cacheName(std::string_view brox, std::uint64_t hostId) {
    std::ostringstream name;
    name << brox << '~' << std::hex << hostId;
    return name.str();
}

RegistryDirectory::RegistryDirectory(path globalDirectory)
    : globalDirectory_(std::move(globalDirectory)), locksDirectory_(globalDirectory_ / "locks"),
      owner_(getpid()) {
    createdLocks_ = mkdir(locksDirectory_.c_str(), 0755) == 0;
    if (!createdLocks_ && errno != EEXIST) {
        fail("cannot create the directory", locksDirectory_);
    }
}

RegistryDirectory::~RegistryDirectory() {
    removeAll();
}

path RegistryDirectory::hostIdFile() const {
    return locksDirectory_ / "talvex.hostid";
}

path RegistryDirectory::recordFile(std::string_view name) const {
    return locksDirectory_ / (std::string(name) + recordSuffix);
}

void RegistryDirectory::writeHostId(std::uint64_t hostId) {
    writeHostIdBytes({reinterpret_cast<const char*>(&hostId), sizeof hostId});
}

void RegistryDirectory::writeHostIdBytes(std::string_view bytes) {
    writeFile(hostIdFile(), bytes);
}

void RegistryDirectory::writeRecord(std::string_view name, const RegistryRecord& record) {
    writeRaw(name, encode(record));
}

void RegistryDirectory::writeRaw(std::string_view name, std::string_view bytes) {
    writeFile(recordFile(name), bytes);
}

void RegistryDirectory::adopt(const path& file) {
    if (std::find(files_.begin(), files_.end(), file) == files_.end()) {
        files_.push_back(file);
    }
}

std::optional<std::uint64_t> RegistryDirectory::readHostId() const {
    const std::optional<std::string> bytes = readWhole(hostIdFile());
    std::uint64_t hostId = 0;
    if (!bytes || bytes->size() < sizeof hostId) {
        return std::nullopt;
    }
    std::memcpy(&hostId, bytes->data(), sizeof hostId);
    return hostId;
}

std::optional<RegistryRecord> RegistryDirectory::readRecord(std::string_view name) const {
    const std::optional<std::string> bytes = readWhole(recordFile(name));
    return bytes ? decode(*bytes) : std::nullopt;
}

void RegistryDirectory::removeRecord(std::string_view name) {
    std::error_code ignored;
    std::filesystem::remove(recordFile(name), ignored);
    std::erase(files_, recordFile(name));
}

void RegistryDirectory::removeAll() {
    if (getpid() != owner_) {
        return;
    }
    std::error_code ignored;
    const bool ownsHostId = std::erase(files_, hostIdFile()) != 0;
    for (const path& file : files_) {
        std::filesystem::remove(file, ignored);
    }
    files_.clear();
    /* The host id is the other servers' too: it stays while any other file is left. */
    const std::filesystem::directory_iterator left(locksDirectory_, ignored);
    if (ownsHostId && std::distance(begin(left), end(left)) == 1) {
        std::filesystem::remove(hostIdFile(), ignored);
    }
    if (createdLocks_) {
        rmdir(locksDirectory_.c_str());
    }
}

void RegistryDirectory::writeFile(const path& file, std::string_view bytes) {
    const path unfinished = locksDirectory_ / (".new." + std::to_string(getpid()));
    try {
        writeWhole(unfinished, bytes);
        std::filesystem::rename(unfinished, file);
    } catch (...) {
        std::error_code ignored;
        std::filesystem::remove(unfinished, ignored);
        throw;
    }
    adopt(file);
}

} // namespace standin
