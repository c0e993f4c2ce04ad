#pragma once

#include "kxupload.h"

/// A KxUpload without a parent whose fields can be read and set.
class TestUploader : public KxUpload
{
public:
    TestUploader() : KxUpload(nullptr) {}

    using KxUpload::crashPath;
    using KxUpload::fileGroups;
    using KxUpload::httpGroups;
    using KxUpload::httpPath;
    using KxUpload::infoPath;
    using KxUpload::logFiles;
    using KxUpload::loginName;
    using KxUpload::nameSpace;
    using KxUpload::nickname;
    using KxUpload::roomMap;
    using KxUpload::sdkPath;
    using KxUpload::settings;
    using KxUpload::systemPath;
    using KxUpload::userId;
    using KxUpload::version;
};
