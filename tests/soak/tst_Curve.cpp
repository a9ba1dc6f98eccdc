// The judgement of the soak on its measurements.
#include "soak/Curve.h"

#include <QtTest/QtTest>

using soak::Course;
using soak::Point;

class tst_Curve : public QObject
{
    Q_OBJECT

private slots:
    void growthAndSpread_data();
    void growthAndSpread();
    void tooFewPointsAreNoCourse();
};

namespace
{

/// A hundred and one points of work 0 to 100.
std::vector<Point> points(double (*memoryAt)(double work))
{
    std::vector<Point> result;
    for (int work = 0; work <= 100; ++work)
        result.push_back({double(work), memoryAt(work)});
    return result;
}

double flat(double)
{
    return 5000;
}

double warmUp(double work)
{
    return work < 10 ? work * 100 : 1000;
}

double leak(double work)
{
    return 5000 + 10 * work;
}

double saw(double work)
{
    return 5000 + (int(work) % 2 ? 200 : 0);
}

} // namespace

Q_DECLARE_METATYPE(std::vector<Point>)

void tst_Curve::growthAndSpread_data()
{
    QTest::addColumn<std::vector<Point>>("curve");
    QTest::addColumn<double>("growth");
    QTest::addColumn<double>("spread");
    QTest::newRow("flat") << points(flat) << 0.0 << 0.0;
    QTest::newRow("rising in the first tenth only") << points(warmUp) << 0.0 << 0.0;
    QTest::newRow("ten for each unit") << points(leak) << 900.0 << 900.0;
    QTest::newRow("up and down") << points(saw) << 0.0 << 200.0;
}

void tst_Curve::growthAndSpread()
{
    QFETCH(std::vector<Point>, curve);
    QFETCH(double, growth);
    QFETCH(double, spread);
    const Course course = soak::courseOf(curve);
    QVERIFY(course.isKnown);
    QVERIFY2(qAbs(course.growth - growth) < 5, qPrintable(QString::number(course.growth)));
    QCOMPARE(course.spread, spread);
}

void tst_Curve::tooFewPointsAreNoCourse()
{
    QVERIFY(!soak::courseOf({}).isKnown);
    QVERIFY(!soak::courseOf({{100, 1}}).isKnown);
    QVERIFY(!soak::courseOf({{1, 1}, {100, 1}}).isKnown); // one of them lies in the first tenth
}

QTEST_APPLESS_MAIN(tst_Curve)
#include "tst_Curve.moc"
