/* The range is inaccessible; a faulting instruction is let through and the processor told to trap
   behind it, where the range is closed again. */
#include "watchedmemory.h"

#include <csignal>
#include <sys/mman.h>
#include <ucontext.h>

namespace testsupport {

namespace {

char* watched;
std::size_t watchedSize;
std::function<void(std::size_t)> accessed;
struct sigaction faultBefore, trapBefore;

void allow(int access) {
    mprotect(watched, watchedSize, access);
}

void stepSingly(void* context, bool singly) {
    constexpr greg_t trapFlag = 0x100;
    greg_t& flags = static_cast<ucontext_t*>(context)->uc_mcontext.gregs[REG_EFL];
    flags = singly ? flags | trapFlag : flags & ~trapFlag;
}

void onFault(int, siginfo_t* info, void* context) {
    const auto distance = static_cast<std::size_t>(static_cast<char*>(info->si_addr) - watched);
    if (distance >= watchedSize) {
        signal(SIGSEGV, SIG_DFL); /* a true one: faults again */
        return;
    }
    accessed(distance);
    allow(PROT_READ | PROT_WRITE);
    stepSingly(context, true);
}

void onTrap(int, siginfo_t*, void* context) {
    allow(PROT_NONE);
    stepSingly(context, false);
}

void install(int number, void (*handler)(int, siginfo_t*, void*), struct sigaction* before) {
    struct sigaction action {};
    action.sa_flags = SA_SIGINFO;
    action.sa_sigaction = handler;
    sigaction(number, &action, before);
}

} // namespace

WatchedMemory::WatchedMemory(void* start, std::size_t size,
                             std::function<void(std::size_t)> onAccess) {
    watched = static_cast<char*>(start);
    watchedSize = size;
    accessed = std::move(onAccess);
    install(SIGSEGV, onFault, &faultBefore);
    install(SIGTRAP, onTrap, &trapBefore);
    allow(PROT_NONE);
}

WatchedMemory::~WatchedMemory() {
    allow(PROT_READ | PROT_WRITE);
    sigaction(SIGSEGV, &faultBefore, nullptr);
    sigaction(SIGTRAP, &trapBefore, nullptr);
}

} // namespace testsupport
