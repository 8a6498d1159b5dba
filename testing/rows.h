/* Tables of cases whose columns a lambda in the loop's body may use: clang 14 lets none of them
   capture a structured binding. */
#ifndef TESTING_ROWS_H
#define TESTING_ROWS_H

#include <tuple>

namespace testsupport {

/* Calls `body` with the columns of each row: of tuples, pairs or arrays. */
template <typename Rows, typename Body> void forEachRow(const Rows& rows, Body body) {
    for (const auto& row : rows) {
        std::apply(body, row);
    }
}

} // namespace testsupport

#endif
