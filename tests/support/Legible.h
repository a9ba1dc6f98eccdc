#ifndef TESTS_LEGIBLE_H
#define TESTS_LEGIBLE_H

#include <QtCore/QStringList>

QT_BEGIN_NAMESPACE
class QWidget;
QT_END_NAMESPACE

/// How many texts of `window` that are to be seen were looked at, and those of them that have not room enough, by
/// object name, class and text. What scrolls or elides by design is not looked at: rows of tables, lists and trees.
struct Legible {
    explicit Legible(const QWidget *window);

    int texts = 0;
    QStringList cutOff;
};

/// The share of a sharded program (STK_TEST_SHARD) that this one is: 1 without shards. As a scale: 1, 1.5 and 2. To be
/// called before there is an application.
void setScaleOfShard();

#endif // TESTS_LEGIBLE_H
