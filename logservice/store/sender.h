#pragma once

#include "store/descriptiontext.h"
#include "store/storedupload.h"

/// Who sent an upload, as far as its fields say so.
struct Sender
{
    Description description;
    std::string unsplit; ///< the text of "room" when it cannot be split, and nothing else is known then
};

/// Finds the sender in the \a fields of an upload of any \a kind.
Sender senderOf(const std::string &kind, const nlohmann::json &fields);
