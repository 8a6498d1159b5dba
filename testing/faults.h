/*
 * The C library's functions as the library under test calls them, made to fail or to answer
 * something else. Programs that link tvsi_test_faults define these functions themselves and forward
 * to the next definition; with tvsi_internal as with tvsi, with sanitizers or without.
 *
 * A fault applies to the calls that this program and the library make, the test's own ones
 * included, an override to all in the process: arm them closely around the code under test. At most
 * one fault and one override for a function at a time; the fault comes first.
 */
#ifndef TESTING_FAULTS_H
#define TESTING_FAULTS_H

#include <functional>
#include <map>
#include <string>
#include <typeinfo>
#include <vector>

/* decltype(poll) as a template argument loses the attributes of glibc's declaration: no matter. */
#pragma GCC diagnostic ignored "-Wignored-attributes"

namespace testsupport {

/* Which calls a fault looks at. */
enum class CallsOf { allThreads, thisThread, otherThreads };

/* In its scope, the calls number `from` to `from` + `count` - 1 of the function fail with `error`
   (an EAI_ code for getaddrinfo, a REG_ code for regcomp) in the function's own way. */
class ScopedFault {
public:
    explicit ScopedFault(const std::string& function, int error, int from = 1, int count = 1,
                         CallsOf calls = CallsOf::allThreads);
    ScopedFault& operator=(ScopedFault&&) = delete;
    ~ScopedFault();
    int hits() const; /* how many calls have failed */

private:
    int index_;
};

/* How many calls of the function the process has made. */
long callCount(const std::string& function);
/* The functions that the library calls, with the errors that their documentation lists. */
const std::map<std::string, std::vector<int>>& interposedCalls();
/* Those that report no errors, or none that matter, with blanks between them. */
const char* callsThatCannotFail();

namespace detail {
/* `body` points at a std::function of the type `type`. Returns the function's number. */
int startOverride(const std::string& function, const std::type_info& type, void* body);
/* Returns when no thread runs the body any more. */
void endOverride(int index) noexcept;
/* Without noexcept. */
template <typename Signature> struct Plain;
template <typename Result, typename... Args, bool isNoexcept>
struct Plain<Result(Args...) noexcept(isNoexcept)> {
    using Type = Result(Args...);
};
} // namespace detail

/* In its scope, `body` stands in for the function; what it calls itself is the real one. The
   signatures of open, prctl and setrlimit are those that faults.cpp declares. */
template <typename Signature> class ScopedOverride {
    using Plain = typename detail::Plain<Signature>::Type;

public:
    ScopedOverride(const std::string& function, std::function<Plain> body)
        : body_(std::move(body)), index_(detail::startOverride(function, typeid(Plain), &body_)) {}
    ScopedOverride& operator=(ScopedOverride&&) = delete;
    ~ScopedOverride() { detail::endOverride(index_); }

private:
    std::function<Plain> body_;
    int index_;
};

/* In its scope, no read delivers more than `limit` bytes. */
struct ScopedShortReads : ScopedOverride<ssize_t(int, void*, size_t)> {
    explicit ScopedShortReads(size_t limit);
};

} // namespace testsupport

#endif
