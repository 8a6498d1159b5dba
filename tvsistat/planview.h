/* What the views share: the plan of columns, and the texts of a row's identity. */
#ifndef PLANVIEW_H
#define PLANVIEW_H

#include "columns.h"
#include "timetext.h"
#include "view.h"

namespace tvsistat {

class PlanView : public View {
public:
    PlanView(const Request& asked, const Surroundings& found, Default defaults)
        : request(asked), surroundings(found), plan(asked.fields, asked.annotations, defaults),
          times(asked.layout.isUtc) {}

    bool shows(const statscatalogue::Kind* kind) override { return plan.shows(kind); }
    bool showsAny(const samples::Row& row, const samples::Moment& moment,
                  samples::Printing printing) override;

protected:
    const Request& request;
    const Surroundings surroundings;
    ColumnPlan plan;
    TimeText times;
};

/* "vok"; "0x18" for a record of no known kind. */
void appendKind(std::string& text, const samples::Row& row);

/* A figure as a row shows it; nothing while an application's statistic is zero, for a time stamp of
 * an event that was never seen, and for a record without blocks. */
samples::Number shownNumber(const Column& column, samples::Printing printing,
                            const samples::Row& row, const samples::Moment& moment);

} // namespace tvsistat

#endif
