// Preloaded into a program, lets calls of the system fail, and tells what the program does to files.
// FAULT_CALLS   the kinds of calls that are counted, as "read write"
// FAULT_FILES   a pattern of their files' names, "*" unless set
// FAULT_AT      the number of the call at which something happens, from 1 on
// FAULT_TIMES   at how many calls in a row it does, 1 unless set
// FAULT         what happens: the number of an error, EIO unless set; "part": the call reads or writes only a part;
//               "kill": the program is killed; anything else is a shell command that is run before the call
// FAULT_LOG     a file for what is read and changed: a line with the kind of call, path, position, number of bytes
//               that follow and number of bytes, then the bytes
// FAULT_COUNTS  a file for the number of calls of each kind, and of the blocks of memory and the descriptors that
//               main leaves

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dlfcn.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <string>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

enum Kind { Open, Create, Read, Write, Seek, Truncate, Lock, Sync, Rename, Unlink, Allocate, kKinds };
constexpr const char* kNames[] = {"open", "create", "read",   "write",  "seek",    "truncate",
                                  "lock", "sync",   "rename", "unlink", "allocate"};

enum class Fate { Pass, Part, Fail };

// Nothing here allocates: an allocation can be what is counted.
const char* Setting(const char* name, const char* otherwise = "") {
    const char* text = std::getenv(name);
    return text ? text : otherwise;
}

struct Plan {
    bool counts[kKinds] = {};
    const char* files = Setting("FAULT_FILES", "*");
    const char* fault = Setting("FAULT", "5");
    int first = std::atoi(Setting("FAULT_AT"));
    int times = std::atoi(Setting("FAULT_TIMES", "1"));

    Plan() {
        for (int kind = 0; kind < kKinds; ++kind)
            counts[kind] = std::strstr(Setting("FAULT_CALLS"), kNames[kind]);
    }
    bool IsCommand() const {
        return first > 0 && std::atoi(fault) == 0 && std::strcmp(fault, "part") != 0 &&
               std::strcmp(fault, "kill") != 0;
    }
};

std::atomic<bool> inMain = false;
std::array<std::atomic<int>, kKinds> calls;
std::atomic<int> counted = 0;
std::atomic<int> blocks = 0;

const Plan& ThePlan() {
    static const Plan plan;
    return plan;
}

void RunCommand(const char* command) {
    const pid_t shell = ::fork();
    if (shell == 0) {
        ::unsetenv("LD_PRELOAD");
        ::execl("/bin/sh", "sh", "-c", command, nullptr);
        ::_exit(127);
    }
    while (::waitpid(shell, nullptr, 0) < 0 && errno == EINTR) {
    }
}

Fate FateOf(Kind kind, const char* path) {
    if (!inMain) return Fate::Pass;
    const Plan& plan = ThePlan();
    if (path && ::fnmatch(plan.files, path, FNM_EXTMATCH) != 0) return Fate::Pass;
    ++calls[kind];
    if (!plan.counts[kind]) return Fate::Pass;
    const int number = ++counted;
    if (plan.first == 0 || number < plan.first || number - plan.first >= plan.times) return Fate::Pass;
    if (std::strcmp(plan.fault, "part") == 0) return Fate::Part;
    if (std::strcmp(plan.fault, "kill") == 0) ::kill(::getpid(), SIGKILL);
    if (plan.IsCommand()) {
        RunCommand(plan.fault);
        return Fate::Pass;
    }
    errno = std::atoi(plan.fault);
    return Fate::Fail;
}

struct Path {
    char text[PATH_MAX] = "";

    explicit Path(int descriptor) {
        char link[32];
        std::snprintf(link, sizeof link, "/proc/self/fd/%d", descriptor);
        const ssize_t length = ::readlink(link, text, sizeof text - 1);
        if (length < 0) text[0] = '\0';
    }
    explicit Path(const char* path) {
        if (path[0] != '/' && ::getcwd(text, sizeof text)) std::strcat(text, "/");
        std::strncat(text, path, sizeof text - std::strlen(text) - 1);
    }
};

// What the last message goes to must not fail.
Fate FateOf(Kind kind, int descriptor) {
    return descriptor == STDERR_FILENO ? Fate::Pass : FateOf(kind, Path(descriptor).text);
}

int OpenLog(const char* name) {
    return static_cast<int>(
        ::syscall(SYS_openat, AT_FDCWD, name, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
}

void Log(Kind kind, const Path& path, int64_t position, size_t bytes, const void* data) {
    static const int log = *Setting("FAULT_LOG") ? OpenLog(Setting("FAULT_LOG")) : -1;
    if (log < 0 || ::fnmatch(ThePlan().files, path.text, FNM_EXTMATCH) != 0) return;
    std::string line = std::string(kNames[kind]) + " " + path.text + " " + std::to_string(position) + " " +
                       std::to_string(data ? bytes : 0) + " " + std::to_string(bytes) + "\n";
    line.append(static_cast<const char*>(data), data ? bytes : 0).append("\n");
    ::syscall(SYS_write, log, line.data(), line.size());
}

int Descriptors() {
    int count = 0;
    for (int i = 0; i < 256; ++i) count += ::fcntl(i, F_GETFD) >= 0;
    return count;
}

int (*plainMain)(int, char**, char**);

int Main(int argc, char** argv, char** environment) {
    ThePlan();
    ::alarm(60);
    const int descriptors = Descriptors();
    const int blocksBefore = blocks;
    inMain = true;
    const int status = plainMain(argc, argv, environment);
    inMain = false;
    if (!*Setting("FAULT_COUNTS")) return status;
    std::string text = "blocks " + std::to_string(blocks - blocksBefore) + " descriptors " +
                       std::to_string(Descriptors() - descriptors);
    for (int kind = 0; kind < kKinds; ++kind)
        text += std::string(" ") + kNames[kind] + " " + std::to_string(calls[static_cast<size_t>(kind)]);
    ::syscall(SYS_write, OpenLog(Setting("FAULT_COUNTS")), text.data(), text.size());
    return status;
}

}  // namespace

#define PLAIN(function) reinterpret_cast<decltype(&(function))>(dlsym(RTLD_NEXT, #function))
#pragma GCC visibility push(default)
extern "C" {

int __libc_start_main(int (*main)(int, char**, char**), int argc, char** argv, void (*init)(), void (*end)(),
                      void (*endOfLoader)(), void* stack) {
    plainMain = main;
    return PLAIN(__libc_start_main)(Main, argc, argv, init, end, endOfLoader, stack);
}

int open(const char* name, int flags, ...) {
    va_list list;
    va_start(list, flags);
    const mode_t mode = flags & O_CREAT ? va_arg(list, mode_t) : 0;
    va_end(list);
    const Path path(name);
    const bool creates = flags & O_CREAT && ::access(name, F_OK) != 0;
    if (FateOf(creates ? Create : Open, path.text) == Fate::Fail) return -1;
    if (creates) Log(Create, path, 0, 0, nullptr);
    return PLAIN(open)(name, flags, mode);
}

std::FILE* fopen(const char* name, const char* mode) {
    return FateOf(Open, Path(name).text) == Fate::Fail ? nullptr : PLAIN(fopen)(name, mode);
}

std::FILE* tmpfile() { return FateOf(Create, "/tmp") == Fate::Fail ? nullptr : PLAIN(tmpfile)(); }

int memfd_create(const char* name, unsigned flags) noexcept {
    return FateOf(Create, name) == Fate::Fail ? -1 : PLAIN(memfd_create)(name, flags);
}

int pipe2(int* ends, int flags) noexcept {
    return FateOf(Create, "pipe") == Fate::Fail ? -1 : PLAIN(pipe2)(ends, flags);
}

ssize_t read(int file, void* data, size_t bytes) {
    const Fate fate = FateOf(Read, file);
    if (fate == Fate::Fail) return -1;
    const ssize_t got = PLAIN(read)(file, data, fate == Fate::Part ? (bytes + 1) / 2 : bytes);
    if (got > 0) Log(Read, Path(file), 0, static_cast<size_t>(got), nullptr);
    return got;
}

ssize_t pread(int file, void* data, size_t bytes, off_t position) {
    const Fate fate = FateOf(Read, file);
    return fate == Fate::Fail
               ? -1
               : PLAIN(pread)(file, data, fate == Fate::Part ? (bytes + 1) / 2 : bytes, position);
}

// Nothing interrupts the calls of a stream.
size_t fread(void* data, size_t size, size_t count, std::FILE* file) {
    return FateOf(Read, ::fileno(file)) == Fate::Fail && errno != EINTR
               ? 0
               : PLAIN(fread)(data, size, count, file);
}

// Half of it is written before the write fails, as on a disk that gets full.
ssize_t write(int file, const void* data, size_t bytes) {
    const Fate fate = FateOf(Write, file);
    const int error = errno;
    if (fate != Fate::Pass) bytes = (bytes + (fate == Fate::Part)) / 2;
    if (!(fate == Fate::Fail && error == EINTR)) {
        Log(Write, Path(file), PLAIN(lseek)(file, 0, SEEK_CUR), bytes, data);
        const ssize_t put = PLAIN(write)(file, data, bytes);
        if (fate != Fate::Fail) return put;
    }
    errno = error;
    return -1;
}

ssize_t pwrite(int file, const void* data, size_t bytes, off_t position) {
    const Fate fate = FateOf(Write, file);
    if (fate == Fate::Fail) return -1;
    Log(Write, Path(file), position, bytes, data);
    return PLAIN(pwrite)(file, data, fate == Fate::Part ? (bytes + 1) / 2 : bytes, position);
}

size_t fwrite(const void* data, size_t size, size_t count, std::FILE* file) {
    return FateOf(Write, ::fileno(file)) == Fate::Fail && errno != EINTR
               ? 0
               : PLAIN(fwrite)(data, size, count, file);
}

ssize_t copy_file_range(int from, off64_t* read, int to, off64_t* written, size_t bytes, unsigned flags) {
    const Fate fate = FateOf(Write, to);
    if (fate == Fate::Fail) return -1;
    if (fate == Fate::Part) bytes = (bytes + 1) / 2;
    if (*Setting("FAULT_LOG")) {
        std::vector<char> block(bytes);
        const ssize_t got = PLAIN(pread)(from, block.data(), bytes, *read);
        if (got > 0) Log(Write, Path(to), *written, static_cast<size_t>(got), block.data());
    }
    return PLAIN(copy_file_range)(from, read, to, written, bytes, flags);
}

off_t lseek(int file, off_t position, int from) noexcept {
    return FateOf(Seek, file) == Fate::Fail ? -1 : PLAIN(lseek)(file, position, from);
}

int fseeko(std::FILE* file, off_t position, int from) {
    return FateOf(Seek, ::fileno(file)) == Fate::Fail ? -1 : PLAIN(fseeko)(file, position, from);
}

int fseek(std::FILE* file, long position, int from) {
    return FateOf(Seek, ::fileno(file)) == Fate::Fail ? -1 : PLAIN(fseek)(file, position, from);
}

int ftruncate(int file, off_t size) noexcept {
    if (FateOf(Truncate, file) == Fate::Fail) return -1;
    Log(Truncate, Path(file), size, 0, nullptr);
    return PLAIN(ftruncate)(file, size);
}

int flock(int file, int operation) noexcept {
    return FateOf(Lock, file) == Fate::Fail ? -1 : PLAIN(flock)(file, operation);
}

int fsync(int file) {
    if (FateOf(Sync, file) == Fate::Fail) return -1;
    Log(Sync, Path(file), 0, 0, nullptr);
    return PLAIN(fsync)(file);
}

int rename(const char* from, const char* to) noexcept {
    const Path target(to);
    if (FateOf(Rename, target.text) == Fate::Fail) return -1;
    Log(Rename, Path(from), 0, std::strlen(target.text), target.text);
    return PLAIN(rename)(from, to);
}

int link(const char* from, const char* to) noexcept {
    return FateOf(Rename, Path(to).text) == Fate::Fail ? -1 : PLAIN(link)(from, to);
}

int unlink(const char* name) noexcept {
    const Path path(name);
    if (FateOf(Unlink, path.text) == Fate::Fail) return -1;
    Log(Unlink, path, 0, 0, nullptr);
    return PLAIN(unlink)(name);
}

// Seconds pass between two looks, for those who wait.
int clock_gettime(clockid_t clock, timespec* time) noexcept {
    static time_t leap = 0;
    const int result = PLAIN(clock_gettime)(clock, time);
    if (ThePlan().IsCommand()) time->tv_sec += leap += 2;
    return result;
}

#ifdef FAULT_ALLOCATIONS
void* __libc_malloc(size_t);
void* __libc_calloc(size_t, size_t);
void* __libc_realloc(void*, size_t);
void* __libc_memalign(size_t, size_t);
void __libc_free(void*);

static void* Counted(void* block) {
    blocks += block != nullptr;
    return block;
}

void* malloc(size_t bytes) noexcept {
    return FateOf(Allocate, nullptr) == Fate::Fail ? nullptr : Counted(__libc_malloc(bytes));
}

void* calloc(size_t count, size_t bytes) noexcept {
    return FateOf(Allocate, nullptr) == Fate::Fail ? nullptr : Counted(__libc_calloc(count, bytes));
}

void* realloc(void* block, size_t bytes) noexcept {
    if (FateOf(Allocate, nullptr) == Fate::Fail) return nullptr;
    void* moved = __libc_realloc(block, bytes);
    blocks += (moved != nullptr) - (block != nullptr && (moved != nullptr || bytes == 0));
    return moved;
}

void* aligned_alloc(size_t alignment, size_t bytes) noexcept {
    return FateOf(Allocate, nullptr) == Fate::Fail ? nullptr : Counted(__libc_memalign(alignment, bytes));
}

int posix_memalign(void** block, size_t alignment, size_t bytes) noexcept {
    if (FateOf(Allocate, nullptr) == Fate::Fail) return ENOMEM;
    *block = Counted(__libc_memalign(alignment, bytes));
    return *block ? 0 : ENOMEM;
}

void free(void* block) noexcept {
    blocks -= block != nullptr;
    __libc_free(block);
}
#endif

}  // extern "C"
