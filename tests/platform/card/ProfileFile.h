#ifndef TESTS_CARD_PROFILEFILE_H
#define TESTS_CARD_PROFILEFILE_H

#include "card/Profile.h"

#include <QFile>
#include <QTemporaryDir>

/// A folder for one profile at a time, written from text.
class ProfileFile
{
public:
    ~ProfileFile() { QFile::remove(path()); }

    QString path() const { return m_dir.filePath("card.yaml"); }

    card::Profile load(const QByteArray &yaml) const
    {
        QFile file(path());
        if (!m_dir.isValid() || !file.open(QIODevice::WriteOnly) || file.write(yaml) != yaml.size())
            qFatal("cannot write the test profile");
        file.close();
        return card::loadProfile(path().toStdString());
    }

    /// "line:column: reason", or "accepted"; anything but a ProfileError fails the test by escaping it.
    QString complaint(const QByteArray &yaml) const
    {
        try {
            load(yaml);
        } catch (const card::ProfileError &error) {
            const QString reason = QString::fromStdString(error.reason());
            return QString("%1:%2: %3").arg(error.line()).arg(error.column()).arg(reason);
        }
        return "accepted";
    }

private:
    QTemporaryDir m_dir;
};

#endif // TESTS_CARD_PROFILEFILE_H
