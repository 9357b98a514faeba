// SPDX-License-Identifier: MIT
#include <limits>

#include "common/settings.h"
#include "model/kind.h"
#include "model/model.h"
#include "tree/number_attribute.h"
#include "tree/text_attribute.h"

namespace VelmorSim {

/** A driver's attribute that holds one number: a reset or enable line, a switch. */
const Kind attribute_kind("attribute", [](Model& model, const std::string& name, Settings& settings) {
    using limits = std::numeric_limits<std::int64_t>;
    const auto path = device_path(settings);
    const auto lowest = settings.number("lowest", limits::min(), limits::max(), 0);
    const auto highest = settings.number("highest", lowest, limits::max(), 1);
    const auto access = settings.text("access", "rw");
    if (access != "rw" && access != "r" && access != "w") settings.refuse("access", R"("rw", "r" or "w")");
    const mode_t mode = access == "r" ? 0444 : access == "w" ? 0200 : 0644;
    auto& attribute =
        model.tree.add<NumberAttribute>(path, mode, settings.number("value", lowest, highest), lowest, highest);
    attribute.meaning = settings.text("meaning", "");
    model.name(name, attribute);
});

/** A text file of the root file system. */
const Kind file_kind("file", [](Model& model, const std::string& name, Settings& settings) {
    const auto path = device_path(settings);
    const auto text = settings.text("text");
    auto& file = model.tree.add<TextAttribute>(path, mode_t{0444}, text, static_cast<std::int64_t>(text.size()) + 1);
    file.meaning = settings.text("meaning", "");
    model.name(name, file);
});

}  // namespace VelmorSim
