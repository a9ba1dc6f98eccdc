// The least that a host must do. Usage: minimal-host PLUGIN_FILE CARD_PROFILE
#include "core/CoreControl.h" // of the open core library: a host with libraries of its own needs neither this
#include "plugin/IUIPlugin.h"
#include "sdk/SdkControl.h" // nor this, of the open device-service library

#include <QApplication>
#include <QFileInfo>
#include <QPluginLoader>
#include <QPushButton>

int main(int argc, char *argv[])
{
    QApplication application(argc, argv);
    if (argc != 3)
        qFatal("usage: minimal-host PLUGIN_FILE CARD_PROFILE");

    // 1. The libraries: where the plug-ins are, the main window, callbacks on the user-interface thread.
    QPushButton window("SIM Toolkit");
    window.setWindowTitle("Minimal host");
    core::setMainWindow(&window);
    core::setPluginLibraryPath(QFileInfo(argv[1]).absolutePath() + "/../..");
    sdk::setCallbackDispatcher([&](std::function<void()> call) {
        QMetaObject::invokeMethod(&application, std::move(call), Qt::QueuedConnection);
    });

    // 2. The plug-in. Its object registers the callbacks when it is made; the interfaces come from it by qobject_cast.
    QPluginLoader loader(QFileInfo(argv[1]).absoluteFilePath());
    QObject *object = loader.instance();
    IUIPlugin *plugin = qobject_cast<IUIPlugin *>(object);
    if (!plugin || !plugin->Init())
        qFatal("no plug-in: %s", qPrintable(loader.errorString()));

    // 3. The device comes behind the plug-in, which is to hear of it.
    std::string reason;
    std::unique_ptr<sdk::CardChannel> card = sdk::openVirtualCard(argv[2], &reason);
    if (!card)
        qFatal("no card: %s", reason.c_str());
    sdk::attachDevice(std::move(card));

    // 4. The window, any number of times. It deletes itself when the user closes it.
    QObject::connect(&window, &QPushButton::clicked, [&] {
        QRect area = window.rect();
        plugin->ShowWindow(&window, area);
    });
    window.resize(400, 300);
    window.show();
    const int result = application.exec();

    // 5. Out again: first no callback any more, then the object, then its library, then the device service's thread.
    plugin->UnSDKRegisterEvent();
    plugin->OnDestroy();
    plugin->Release();
    delete object;
    loader.unload();
    sdk::shutDown();
    return result;
}
