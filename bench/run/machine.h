#pragma once

#include <QString>

/// What the figures were measured on: processor, cores, memory, system, Qt, file system of the current directory, and
/// how busy the machine is now. One line of text, as a Markdown list item, for each.
QString machineText();
