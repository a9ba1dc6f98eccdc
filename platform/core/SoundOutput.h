#ifndef CORE_SOUNDOUTPUT_H
#define CORE_SOUNDOUTPUT_H

#include <QtCore/QByteArray>
#include <QtCore/QObject>
#include <QtCore/QString>

QT_BEGIN_NAMESPACE
class QSound;
class QSoundEffect;
QT_END_NAMESPACE

namespace core
{

/// Sends one wave file to the sound server, once. Deleting it makes it silent.
///
/// It is Qt Multimedia's sound effect, and Qt 4's own sound before there was one. Neither says that there is no server:
/// a sound that has no server just never starts.
class SoundOutput : public QObject
{
    Q_OBJECT

public:
    /// \param file path of a wave file
    /// \param wave the same sound, as a wave file of the plainest form
    SoundOutput(const QString &file, const QByteArray &wave, QObject *parent);
    ~SoundOutput() override;

    void start();

    /// A server has the sound and plays it. With Qt 4 that is a server which takes sounds.
    bool hasStarted() const { return m_started; }

    /// The last of the sound is out. Qt 4 does not tell.
    bool hasEnded() const { return m_ended; }

signals:
    void started();
    void ended();

private slots:
    void look();

private:
#if QT_VERSION >= QT_VERSION_CHECK(5, 0, 0)
    QSoundEffect *m_sound;
#else
    QSound *m_sound;
#endif
    bool m_started;
    bool m_ended;
};

} // namespace core

#endif // CORE_SOUNDOUTPUT_H
