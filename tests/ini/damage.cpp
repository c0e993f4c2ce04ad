#include "damage.h"

QByteArray hugeList()
{
    return QByteArrayLiteral("@Variant(\\0\\0\\0\\v\\x7f\\xff\\xff\\xff)");
}

QByteArray nestedLists(int depth)
{
    return "@Variant(" + QByteArrayLiteral("\\0\\0\\0\\t\\0\\0\\0\\x1").repeated(depth) + ")";
}

QByteArray timeWithoutZone()
{
    return "@DateTime(\\0\\0\\0\\x10\\0\\0\\0" + QByteArray(11, '?') + ")";
}
