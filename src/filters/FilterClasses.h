// The filter classes as they are declared to the host. The host keeps pointers into these records;
// start-up adjusts their flags and data sizes in place, and the host writes each class's data
// offset at registration.
#pragma once

#include "frame/Abi.h"

extern REALclassDefinition PictureSepiaClass;
extern REALclassDefinition Lut3DClass;

/// The data of one instance of a class.
template <typename Data>
Data& instanceData(REALobjectStruct* instance, const REALclassDefinition& definition) noexcept {
  return *reinterpret_cast<Data*>(reinterpret_cast<char*>(instance) + definition.dataOffset);
}
