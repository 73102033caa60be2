#include "protocol/engine.h"

#include <stdexcept>
#include <string>

namespace tarvek {

namespace {
void checkIndex(int index)
{
    if (index < 0 || index >= kEngineTableSize)
        throw std::out_of_range("engine index " + std::to_string(index) + " outside 0..6");
}
} // namespace

LightEngineRecord& EngineTables::at(int index)
{
    checkIndex(index);
    return records_[static_cast<std::size_t>(index)];
}

const LightEngineRecord& EngineTables::at(int index) const
{
    checkIndex(index);
    return records_[static_cast<std::size_t>(index)];
}

} // namespace tarvek
