#include "WordRows.h"

namespace preview {

std::vector<WordRow> RowsOf(const playback::Scale& scale, const std::vector<unsigned int>& words)
{
    std::vector<WordRow> rows{{words.front(), playback::Kind::Cycles, {}, 0, 0}};
    for (std::size_t i = 1; i < words.size(); ++i) {
        const playback::Word word = playback::Unpack(words[i]);
        rows.push_back({words[i], playback::KindOf(word), word, word.timeSteps * scale.timeStepUsec,
                        word.ampSteps * scale.ampStepUa});
    }
    return rows;
}

}  // namespace preview
