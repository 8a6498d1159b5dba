/*
 * Texts of the error record and of the fatal path. An input: two error numbers, the resolver's
 * category, the size of a buffer, two texts.
 */
#include "fuzzing.h"
#include "hostdebug.h"
#include "syserror.h"
#include "unixerr.h"

using namespace fuzzing;

int LLVMFuzzerInitialize(int*, char***) {
    silenceLibrary();
    return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const auto number = input.take<std::int32_t>();
    const auto other = input.take<std::int32_t>();
    const auto flags = input.take<std::uint8_t>();
    Buffer buffer(input.take<std::uint16_t>() % 300);
    const std::string what = input.takeText('\0');
    const std::string text = input.takeText('\0');

    HostStrerror(number, buffer.get(), buffer.size());
    buffer.requireTerminated();

    SysErrorSType first;
    SysErrorSType second;
    first.setErr(number);
    first.setMsg("%s", what.c_str());
    (flags & 1) != 0 ? second.setHErr(other, SYSERRCAT_HERRNO)
                     : static_cast<void>(second.setErrNum(other));
    second.appendStr(text.c_str());
    second.copyFrom(what.c_str(), &first);
    for (SysErrorSType* record : {&first, &second}) {
        const std::string finished = record->msg();
        require(finished.size() < sizeof record->_errMsg, "the text is terminated");
        require(finished == record->msg(), "a text is finished once");
        require(record->errNum() == number, "the number is kept");
    }
    HostErrSType error;
    error.theErrno = number;
    HostGetErrMsg(&error, buffer.get(), buffer.size());
    buffer.requireTerminated();
    VerMessage(stdout, text.c_str());
    return 0;
}
