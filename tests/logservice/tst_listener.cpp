#include "../kxlog/unprivileged.h"
#include "http/listener.h"

#include <QtTest/QtTest>

namespace {

constexpr int kPortOfTheSystem = 80;

/// Why \a port cannot be had; empty when it can.
QByteArray problemWith(int port)
{
    try {
        const Listener listener(port);
        return {};
    } catch (const std::runtime_error &error) {
        return error.what();
    }
}

} // namespace

class TestListener : public QObject
{
    Q_OBJECT

private slots:
    void saysThatAPortIsTaken();
    void saysThatAPortIsNotAllowed();
};

void TestListener::saysThatAPortIsTaken()
{
    const Listener first(0);
    QCOMPARE(problemWith(first.port()),
             "cannot listen on port " + QByteArray::number(first.port()) + " of 127.0.0.1: Address already in use");
}

void TestListener::saysThatAPortIsNotAllowed()
{
    const Unprivileged rights;
    if (!rights.isValid())
        QSKIP("The rights of the superuser cannot be given up");
    const auto problem = problemWith(kPortOfTheSystem);
    if (problem.isEmpty())
        QSKIP("This system lets everybody listen on port 80");
    QCOMPARE(problem, QByteArray("cannot listen on port 80 of 127.0.0.1: Permission denied"));
}

QTEST_GUILESS_MAIN(TestListener)
#include "tst_listener.moc"
