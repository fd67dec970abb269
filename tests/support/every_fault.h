#pragma once

#include "support/file_faults.h"

#include <QtTest>

#include <cerrno>
#include <functional>

/// What a disk, a file system or a process at its limits fails with, as rows for a test that
/// fetches `error`.
inline void addFileErrors()
{
    QTest::addColumn<int>("error");
    QTest::newRow("a full disk") << ENOSPC;
    QTest::newRow("a broken disk") << EIO;
    QTest::newRow("a file system that became read-only") << EROFS;
    QTest::newRow("a forbidden change") << EACCES;
    QTest::newRow("no free descriptor") << EMFILE;
}

/// Does a piece of work again and again, and has another of its calls to the file system fail each
/// time, until there is no such call any more. Ends early when a check of the test has failed.
/// @param work does the work from the beginning and checks what came of it; the faults are of
/// its own making, with the number that it is given. Says whether the fault has fired.
inline void withEveryCallFailing(const std::function<bool(int)> &work)
{
    int which = 0;
    while (work(which) && !QTest::currentTestFailed())
        ++which;
    // A number that says that the faults reach the work at all.
    QVERIFY2(QTest::currentTestFailed() || which > 3, qPrintable(QString::number(which)));
}
