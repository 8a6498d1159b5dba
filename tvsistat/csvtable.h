/* CSV as RFC 4180 has it: one header line, a row a process, the same columns from beginning to end.
 */
#ifndef CSVTABLE_H
#define CSVTABLE_H

#include "planview.h"

#include <array>
#include <vector>

namespace tvsistat {

class CsvTable : public PlanView {
public:
    CsvTable(const Request& asked, const Surroundings& found)
        : PlanView(asked, found, Default::KeyFigures) {}

    void appendSample(std::string& text, const Shown& shown) override;
    void appendEvent(std::string& text, const Event& event) override;

private:
    struct Field {
        std::string name; /* as in the header */
        std::optional<Identity> identity;
        size_t place; /* in the order that was asked for */
        std::array<const Column*, SHRPC_numStatTypes> byKind{}; /* null: the kind doesn't have it */
    };
    std::string nameOfColumn(const Column& column) const;
    void makeFields();
    void appendIdentity(std::string& text, Identity identity, const samples::Row& row,
                        const Shown& shown);
    void appendNumber(std::string& text, const Column& column, const samples::Row& row,
                      const Shown& shown);

    std::vector<Field> fields;
    bool hasBegun = false;
};

} // namespace tvsistat

#endif
