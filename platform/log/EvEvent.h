#pragma once

#include <string>
#include <vector>

#include "PlatformExport.h"

/// One event with its insertion arguments, from which catalogue messages are made. A value of its user's, used by one
/// thread at a time.
class VSDKPLATFORM_API EvEvent {
  public:
    EvEvent();
    ~EvEvent();
    EvEvent(const EvEvent&) = default;
    EvEvent& operator=(const EvEvent&) = default;

    /// Appends an insertion argument, copied; null counts as empty.
    EvEvent& operator<<(const char* argument);

    /// Writes the catalogue's message `id`, filled with the insertion arguments and `arg` (the placeholders are those
    /// of EvMessageCatalogue), into `buffer`: at most `size` bytes with the terminator, cut before the UTF-8 character
    /// that does not fit. An unknown identifier gives a text that says so. A null buffer or a size of 0 writes nothing.
    void evPrintf(unsigned long id, char* buffer, unsigned long size, unsigned long arg) const;

  private:
    std::vector<std::string> arguments_;
};
