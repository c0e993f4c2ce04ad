// One retention pass of the logging module, as a program that can stand beside find.
// Usage: prunelogs DIRECTORY

#include "kxlog/logretention.h"

int main(int argc, char *argv[])
{
    if (argc != 2)
        return 2;
    pruneLogDirectory(QString::fromLocal8Bit(argv[1]), ownLogRule(), QDate::currentDate());
    return 0;
}
