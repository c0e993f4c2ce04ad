#include "support/files/fileio.h"
#include "support/tool/sandbox.h"

#include <QTest>

/// The executable file itself.
class TestBuiltBinary : public QObject
{
    Q_OBJECT

private slots:
    void namesNoFolderOfItsBuild()
    {
        if (QByteArrayLiteral(KX_BUILD_TYPE) != "Release" && QByteArrayLiteral(KX_BUILD_TYPE) != "MinSizeRel")
            QSKIP("debugging information names the sources");
        const QByteArray bytes = readFile(Sandbox::builtTool());
        QVERIFY(bytes.contains("KxLogReport/kxupload.cpp"));
        QVERIFY(!bytes.contains(KX_SOURCE_FOLDER));
    }
};

QTEST_GUILESS_MAIN(TestBuiltBinary)
#include "tst_builtbinary.moc"
