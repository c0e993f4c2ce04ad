// Peer of a start with nothing to do: what a Qt program costs by itself.

#include <QCoreApplication>

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    return 0;
}
