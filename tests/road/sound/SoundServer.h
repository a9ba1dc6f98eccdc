#ifndef TESTS_SOUNDSERVER_H
#define TESTS_SOUNDSERVER_H

#include "platform/core/WaveBytes.h"

#include <QtCore/QProcess>
#include <QtCore/QTemporaryDir>

/// A sound server of the test's own, whose only loudspeaker is a recorder. This process plays to it.
class SoundServer
{
public:
    SoundServer();
    ~SoundServer(); ///< ends both programs, by their process ids

    /// Starts the server and waits until it answers. False with a warning.
    bool start();

    /// Ends the server only, as when it crashes.
    void kill();

    /// Starts a new recording and waits until its first samples are there. False with a warning.
    bool record();

    /// Everything since record().
    wave::Samples recorded();

    /// The sounds since record(); a sound at the end may be going on.
    QVector<wave::Sound> sounds();

    /// Waits until the recording has gone on for `milliseconds` without a sound. False when that takes too long.
    bool waitForSilence(int milliseconds);

    static const int rate = 44100;

private:
    QTemporaryDir m_folder;
    QProcess m_server;
    QProcess m_recorder;
    QByteArray m_bytes;
};

#endif // TESTS_SOUNDSERVER_H
