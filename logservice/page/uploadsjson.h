#pragma once

#include "store/uploadindex.h"

#include <string>

/// Returns \a matches as the JSON document that /api/uploads answers; docs/openapi.yaml describes it.
std::string uploadsJson(const UploadMatches &matches);
