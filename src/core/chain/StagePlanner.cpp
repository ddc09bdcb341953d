#include "chain/StagePlanner.h"

#include "chain/ChannelNames.h"

#include <algorithm>
#include <utility>

namespace tovix {

StagePlanner::StagePlanner(const StreamFormat& format)
    : m_format(format),
      m_channels(channelNames(std::max(format.inputChannels, format.outputChannels), format.channelMask)),
      m_workingSet(m_channels) {}

bool StagePlanner::append(FilterPtr filter) {
    auto pStage = makeRt<FilterStage>();
    if (!filter || !pStage) {
        return false;
    }
    pStage->inPlace = filter->processesInPlace();
    const ChannelList inputNames = filter->usesAllChannels() ? m_channels : m_workingSet;
    if (inputNames != m_inputPtrNames) {
        pStage->inputIndices = bufferIndices(inputNames);
        if (!pStage->inputIndices) {
            return false;
        }
        m_inputPtrNames = inputNames;
    }
    const ChannelList outputNames = filter->setup(m_format.sampleRateHz, m_format.maxFrames, inputNames);
    const bool reuseOutputs = pStage->inPlace && m_previousInPlace && outputNames == m_outputPtrNames;
    if (!reuseOutputs) {
        pStage->outputIndices = bufferIndices(outputNames);
        if (!pStage->outputIndices) {
            return false;
        }
        m_outputPtrNames = outputNames;
    }
    m_previousInPlace = pStage->inPlace;
    if (!pStage->inPlace) {
        std::swap(m_inputPtrNames, m_outputPtrNames);
    }
    m_workingSet = filter->changesChannelSet() ? outputNames : inputNames;
    pStage->filter = std::move(filter);
    m_stages.push_back(std::move(pStage));
    return true;
}

ChainShape StagePlanner::shape() const noexcept {
    return {m_format.inputChannels, m_format.outputChannels, static_cast<std::uint32_t>(m_channels.size()),
            m_format.maxFrames};
}

std::uint64_t StagePlanner::bufferIndex(const std::wstring& name) {
    const auto found = std::find(m_channels.begin(), m_channels.end(), name);
    const auto index = static_cast<std::uint64_t>(found - m_channels.begin());
    if (found == m_channels.end()) {
        m_channels.push_back(name);
    }
    return index;
}

RtArray<std::uint64_t> StagePlanner::bufferIndices(const ChannelList& names) {
    auto indices = RtArray<std::uint64_t>::make(names.size());
    for (std::size_t i = 0; indices && i < names.size(); ++i) {
        indices[i] = bufferIndex(names[i]);
    }
    return indices;
}

} // namespace tovix
