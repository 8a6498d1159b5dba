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
    /* The members of a kind's objects, with their names as ",\"commitCount\":". */
    struct Member {
        const Column* column;
        std::string name;
    };
    const std::vector<Member>& membersOf(const statscatalogue::Kind* kind);

    void appendHead(std::string& text, std::string_view event, const samples::StreamHeader& header,
                    const samples::Times& moment);
    void reserveFor(std::string& text, std::span<const samples::Row> rows);
    void appendRow(std::string& text, const samples::Row& row, const Shown& shown);
    /* ,"name":{...}: what `numberOf` gives for each member, nothing left out. */
    template <class NumberOf>
    void appendNumbers(std::string& text, std::string_view name, const std::vector<Member>& own,
                       NumberOf numberOf) const;

    TimeText utc;
    std::array<std::vector<Member>, samples::numKindPlaces> members;
    std::array<bool, samples::numKindPlaces> isMade{};
};

} // namespace tvsistat

#endif
