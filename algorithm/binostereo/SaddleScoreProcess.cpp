// Process types 4 and 14: check the records and score how well a checkerboard is seen in one region of a grey image, or
// in several. Relies on the finder of boards; the object gives its ability, scratch memory and the pass mark.
#include "algorithm/binostereo/DepthScore.h"
#include "algorithm/binostereo/FloatToInt.h"
#include "algorithm/binostereo/GreyView.h"
#include "algorithm/binostereo/Records.h"
#include "algorithm/binostereo/Regions.h"
#include "algorithm/vision/BoardShape.h"

#include <algorithm>
#include <cmath>

using namespace ox3d::stereo;
using namespace ox3d::vision;

namespace {

using Input = OXB3D_BINOSTEREO_SADDLE_SCORE_INPUT;
using Output = OXB3D_BINOSTEREO_SADDLE_SCORE_OUTPUT;
using MroiInput = OXB3D_BINOSTEREO_SADDLE_SCORE_MROI_INPUT;
using MroiOutput = OXB3D_BINOSTEREO_SADDLE_SCORE_MROI_OUTPUT;
using BoardRegion = OXB3D_BINOSTEREO_SADDLE_REGION;

constexpr float kFullContrast = 64; // grey values
constexpr float kFullScore = 100;

// What is kept of each corner, behind what the finder takes.
struct CornersSeen {
    Corner* m_corners;
    float* m_contrasts;
    float* m_distances;
};

CornersSeen SeenIn(const BinoObject& object, const GreyView& view, int32_t count) {
    auto* const base = static_cast<uint8_t*>(object.m_scratchRegion);
    auto* const corners = reinterpret_cast<Corner*>(base + BoardScratchBytes(view.m_width, view.m_height, 0));
    auto* const contrasts = reinterpret_cast<float*>(corners + count);
    return {corners, contrasts, contrasts + count};
}

int32_t CheckImage(const BinoObject& object, const ZQA_IMAGE& grey) {
    if (grey.format != ZQA_FORMAT_GREY8) {
        return OXB3D_BINOSTEREO_E_IMAGE_FORMAT;
    }
    if (!FitsAbility(object, grey.width, grey.height)) {
        return OXB3D_BINOSTEREO_E_IMAGE_SIZE;
    }
    return OXB_ZqaStatusToOxbAlgStatus(ZQA_CheckImage(&grey));
}

bool IsUsable(const BinoObject& object, const ZQA_IMAGE& grey, const BoardRegion& board) {
    const ZQA_SIZE largest = LargestBoard(object);
    return IsInside(board.region, grey.width, grey.height) && IsScorable(board.region) &&
           board.columns >= kMinBoardCorners && board.columns <= largest.width &&
           board.rows >= kMinBoardCorners && board.rows <= largest.height;
}

Output ScoreOf(const CornersSeen& seen, int32_t count) {
    Output out{};
    float sum = 0;
    float squares = 0;
    for (int32_t i = 0; i < count; ++i) {
        const float distance = seen.m_distances[i];
        sum += std::min(seen.m_contrasts[i] / kFullContrast, 1.0F) * std::max(1 - distance, 0.0F);
        squares += distance * distance;
    }
    out.score = FloatToInt32(kFullScore * sum / static_cast<float>(count));
    out.found = 1;
    out.rms = std::sqrt(squares / static_cast<float>(count));
    return out;
}

// Only for what was checked.
Output ScoreBoard(const BinoObject& object, const ZQA_IMAGE& grey, const BoardRegion& board, int32_t mark) {
    const GreyView view = ViewOf(grey, board.region);
    const int32_t count = board.columns * board.rows;
    const CornersSeen seen = SeenIn(object, view, count);
    const Corner middle = {(grey.width - 1) / 2.0 - board.region.x, (grey.height - 1) / 2.0 - board.region.y};
    Output out{};
    if (FindBoard(view, board.columns, board.rows, object.m_scratchRegion, seen.m_corners,
                  seen.m_contrasts) &&
        MeasureShape(seen.m_corners, board.columns, board.rows, middle, seen.m_distances)) {
        out = ScoreOf(seen, count);
    }
    out.passed = out.score >= mark ? 1 : 0;
    return out;
}

} // namespace

int32_t OXB3D_BINOSTEREO_SaddleScoreProcess(void* handle, void* input, int32_t inputSize, void* output,
                                            int32_t outputSize) {
    int32_t status = CheckRecords<Input, Output>(handle, input, inputSize, output, outputSize);
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    const auto in = ReadRecord<Input>(input);
    const BinoObject& object = *ObjectOf(handle);
    const BoardRegion board = {in.region, in.columns, in.rows};
    status = CheckImage(object, in.grey);
    if (status == OXB3D_BINOSTEREO_OK && !IsUsable(object, in.grey, board)) {
        status = OXB3D_BINOSTEREO_E_REGION;
    }
    if (status == OXB3D_BINOSTEREO_OK) {
        WriteRecord(ScoreBoard(object, in.grey, board, ParamOf(handle, EParam::SaddleMark)), output);
    }
    return status;
}

int32_t OXB3D_BINOSTEREO_SaddleScoreMroiProcess(void* handle, void* input, int32_t inputSize, void* output,
                                                int32_t outputSize) {
    int32_t status = CheckRecords<MroiInput, MroiOutput>(handle, input, inputSize, output, outputSize);
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    const auto in = ReadRecord<MroiInput>(input);
    const auto out = ReadRecord<MroiOutput>(output);
    if (in.regions == nullptr || out.results == nullptr) {
        return OXB3D_BINOSTEREO_E_NULL;
    }
    const BinoObject& object = *ObjectOf(handle);
    status = CheckImage(object, in.grey);
    if (status != OXB3D_BINOSTEREO_OK) {
        return status;
    }
    // All regions are checked before the first result is written.
    const auto isUsable = [&](const BoardRegion& board) { return IsUsable(object, in.grey, board); };
    if (in.count < 1 || !std::all_of(in.regions, in.regions + in.count, isUsable)) {
        return OXB3D_BINOSTEREO_E_REGION;
    }
    const int32_t mark = ParamOf(handle, EParam::SaddleMark);
    std::transform(in.regions, in.regions + in.count, out.results,
                   [&](const BoardRegion& board) { return ScoreBoard(object, in.grey, board, mark); });
    return OXB3D_BINOSTEREO_OK;
}
