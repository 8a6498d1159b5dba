/* A live screen without a terminal: keys go to its model, and what is seen is read from the cells
 * that are laid out. */
#ifndef MODELSCREEN_H
#define MODELSCREEN_H

#include <sstream>
#include <string>

#include "samplestream.h"
#include "screenlayout.h"

namespace testsupport {

class ModelScreen {
public:
    ModelScreen() : model(request) { request.layout.isUtc = true; }
    virtual ~ModelScreen() = default;
    /* The clock. */
    virtual int64_t nowNs() const = 0;

    tvsistat::ScreenModel::Wish press(std::string_view typed) {
        tvsistat::ScreenModel::Wish wish{};
        for (const char key : typed) {
            wish = model.press(key == '\n' ? tvsistat::keys::enter : key);
        }
        return wish;
    }
    std::string text(size_t width = 80, size_t height = 24) {
        model.refresh();
        picture = tvsistat::layOut(model, {{width, height}, nowNs(), false});
        std::string all;
        for (size_t y = 0; y < height; y++) {
            all += picture.grid.textOf(y) + '\n';
        }
        return all;
    }
    /* The first line with this text. */
    std::string line(std::string_view part, size_t width = 80, size_t height = 24) {
        std::istringstream all(text(width, height));
        std::string one;
        while (std::getline(all, one) && one.find(part) == std::string::npos) {
        }
        return one;
    }

    tvsistat::Request request;
    tvsistat::ScreenModel model;
    tvsistat::Picture picture;
};

inline StreamProcess vok(int pid, std::int64_t commits, std::int64_t hits = 0) {
    return {SHRPC_VOK,
            pid,
            pid - 200,
            "Vok" + std::to_string(pid),
            {{"commitCount", commits}, {"localPageCacheHits", hits}}};
}
inline StreamProcess brox(std::int64_t commits,
                          samples::ProcessState state = samples::ProcessState::Alive) {
    return {SHRPC_BROX, 101, 0, "prod", {{"totalCommits", commits}}, state};
}

} // namespace testsupport

#endif
