/* JSON Lines: an object a sample or event. docs/tvsistat.md describes the shapes. */
#ifndef JSONLINES_H
#define JSONLINES_H

#include "planview.h"

#include <array>
#include <vector>

namespace tvsistat {

class JsonLines : public PlanView {
public:
    JsonLines(const Request& asked, const Surroundings& found)
        : PlanView(asked, found, Default::EveryFigure), utc(true) {}

    void appendSample(std::string& text, const Shown& shown) override;
    void appendEvent(std::string& text, const Event& event) override;
    bool showsAny(const samples::Row& row, const samples::Moment& moment,
                  samples::Printing printing) override;

private:
    /* A member of a kind's objects. */
    struct Member {
        const Column* column;
        uint32_t nameAt; /* in Members::names */
        uint16_t nameBytes;
        uint16_t packedOffset; /* of a field */
        statscatalogue::FieldType type;
        bool isField;   /* else a derived figure */
        bool hidesZero; /* in "values" */
    };
    /* The members of a kind's objects, and their names as ",\"commitCount\":". */
    struct Members {
        bool isMade = false;
        std::vector<Member> all;
        std::vector<Member> counters; /* which have a rate */
        std::string names;
        size_t mostBytes = 0; /* of an object with all of them, and what is written beyond it */
    };
    const Members& membersOf(const statscatalogue::Kind* kind);

    void appendHead(std::string& text, std::string_view event, const samples::StreamHeader& header,
                    const samples::Times& moment);
    void appendRow(std::string& text, const samples::Row& row, const Shown& shown);
    /* ,"name":{...}: what `put` writes behind the names of members, nothing for those for which it
     * returns null. */
    template <class Put>
    void appendNumbers(std::string& text, std::string_view name, const Members& own,
                       const std::vector<Member>& list, Put put);
    void appendValues(std::string& text, const Members& own, const samples::Row& row,
                      const samples::Moment& moment);
    void appendRates(std::string& text, const Members& own, const samples::Row& row,
                     const samples::Moment& moment);
    void appendGrowths(std::string& text, const Members& own, const samples::Row& row);
    /* Minimums or maximums of gauges. */
    using EndOf = samples::Number (*)(const samples::Figure&, std::span<const samples::Process>);
    void appendEnds(std::string& text, std::string_view name, const Members& own,
                    const samples::Row& row, EndOf endOf);

    TimeText utc;
    std::array<Members, samples::numKindPlaces> members;
    std::vector<char> scratch; /* an object is made here, where no byte is written twice */
};

} // namespace tvsistat

#endif
