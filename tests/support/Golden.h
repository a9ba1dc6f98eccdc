#ifndef SUPPORT_GOLDEN_H
#define SUPPORT_GOLDEN_H

#include <QtCore/QString>
#include <QtCore/QStringList>

namespace support
{

/// A text that is compared with a file of tests/data/golden.
///
/// The file changes only by a deliberate switch: with STK_UPDATE_GOLDEN=1 in the environment a file that differs is
/// rewritten, and the test fails all the same, so that nobody takes the run for a check. Read the difference before it
/// is committed: what the product says is not therefore right.
class Golden
{
public:
    /// `name` as "STKLogic.txt"; an absolute path stands for itself.
    explicit Golden(const QString &name);

    /// Lines of the text, in order.
    void add(const QString &line);
    void add(const QStringList &lines);

    /// Empty when the text is the file's; otherwise where they first differ, with line number, expected and actual, or
    /// that the file has been rewritten.
    QString difference() const;

private:
    QString m_path;
    QStringList m_lines;
};

} // namespace support

#endif // SUPPORT_GOLDEN_H
