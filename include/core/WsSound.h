#ifndef WSSOUND_H
#define WSSOUND_H

#include <QtCore/QObject>
#include <QtCore/QString>

class WsSoundPrivate;

/// Plays one sound file once. User-interface thread.
class WsSound : public QObject
{
    Q_OBJECT

public:
    /// \param file path of a wave file; it is opened by Play()
    explicit WsSound(QString file);
    virtual ~WsSound();

    /// Starts the sound. False when it cannot be played; finished() is then not emitted.
    bool Play();

    /// Ends the sound. finished() is not emitted.
    void Stop();

    bool IsPlaying();

signals:
    /// The file has been played to its end. The player may be deleted from a slot of this signal.
    void finished();

private:
    Q_DISABLE_COPY(WsSound)
    WsSoundPrivate *d;
};

#endif // WSSOUND_H
