#pragma once

/// The style sheet of the page: follows the reader's choice of light or dark, and makes blocks of the table's rows
/// where there is no room for columns.
const char *pageStyle();
