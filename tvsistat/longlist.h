/* The long form: a line a value, for grep and awk. */
#ifndef LONGLIST_H
#define LONGLIST_H

#include "planview.h"

#include <vector>

namespace tvsistat {

/*
 *    vok.2469.commitCount     14661      9.1/s  commits that succeeded
 *
 * Kind, process id and field; of several records of a kind with one process id, "/INDEX" follows
 * it. Of several caches, the location comes first.
 */
class LongList : public PlanView {
public:
    LongList(const Request& asked, const Surroundings& found)
        : PlanView(asked, found, Default::EveryFigure) {}

    void appendSample(std::string& text, const Shown& shown) override;
    void appendEvent(std::string& text, const Event& event) override;

private:
    void findTwins(const Shown& shown);
    void appendPrefix(std::string& text, const samples::Row& row, const Shown& shown);
    void appendLine(std::string& text, std::string_view prefix, const Column& column,
                    const samples::Row& row, const Shown& shown);

    std::vector<uint64_t> twins; /* kind and pid of records that are not alone with them, sorted */
    std::string prefix;          /* of the lines of a process */
};

} // namespace tvsistat

#endif
