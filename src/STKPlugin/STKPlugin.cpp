#include "STKPlugin.h"

#include "STKDialog.h"
#include "STKLog.h"

#define STK_SOURCE "STKPlugin"

namespace
{

const unsigned int NOTIFY_LANGUAGE_CHANGED = 320;
const int VERSION = 0x0101;
const int SHOWWINDOW_LINE = 62; // part of the text of its log line

} // namespace

STKPlugin::STKPlugin() : QObject(0), m_pStkDialog(0)
{
    STK_LOG_START();
    m_pStkDialog = STKDialog::Instance();
    STK_LOG_END();
}

STKPlugin::~STKPlugin()
{
    STK_LOG_START();
    if (m_pStkDialog) {
        STKDialog::Destroy();
        m_pStkDialog = 0;
    }
    STK_LOG_END();
}

void STKPlugin::Release()
{
    STK_LOG_START();
    STK_LOG_END();
}

int STKPlugin::GetLastError()
{
    STK_LOG_START();
    STK_LOG_END();
    return 0;
}

void STKPlugin::OnDestroy()
{
    STK_LOG_START();
    STK_LOG_END();
}

void STKPlugin::UnSDKRegisterEvent()
{
    STK_LOG("%s: %s called", STK_LOG_PATH, __func__);
    STKDialog::Instance()->unSDKRegisterEvent();
    STK_LOG("%s: %s exit", STK_LOG_PATH, __func__);
}

bool STKPlugin::Init()
{
    STK_LOG_START();
    STK_LOG_END();
    return true;
}

int STKPlugin::GetPluginType()
{
    STK_LOG_START();
    STK_LOG_END();
    return 0;
}

QString STKPlugin::GetCLSID()
{
    STK_LOG_START();
    STK_LOG_END();
    return QLatin1String("C4A17E92-3B5F-47d8-A1C6-5E09D3F7B218");
}

int STKPlugin::GetVersion()
{
    STK_LOG_START();
    STK_LOG_END();
    return VERSION;
}

QString STKPlugin::GetPluginName()
{
    STK_LOG_START();
    STK_LOG_END();
    return QLatin1String("STKPlugin");
}

bool STKPlugin::IsAllowRelease()
{
    STK_LOG_START();
    STK_LOG_END();
    return false;
}

int STKPlugin::QueryInterface(int /*id*/, QObject ** /*out*/)
{
    STK_LOG_START();
    STK_LOG_END();
    return 0;
}

bool STKPlugin::ShowWindow(QWidget *parent, QRect &rect)
{
    STK_LOG_START();
    if (!m_pStkDialog) {
        STK_LOG_NULL(SHOWWINDOW_LINE);
        return false;
    }
    const bool bShown = m_pStkDialog->ShowStkDlg(parent, rect);
    STK_LOG_END();
    return bShown;
}

int STKPlugin::DoModal()
{
    STK_LOG_START();
    STK_LOG_END();
    return 0;
}

void STKPlugin::Hide()
{
    STK_LOG_START();
    STK_LOG_END();
}

void STKPlugin::FitSize(QRect & /*rect*/)
{
    STK_LOG_START();
    STK_LOG_END();
}

bool STKPlugin::IsReady()
{
    STK_LOG_START();
    STK_LOG_END();
    return false;
}

bool STKPlugin::ChangeLang(const QString &lang)
{
    STK_LOG_START();
    STK_LOG_END();
    return !lang.isEmpty();
}

int STKPlugin::Notify(unsigned int code, unsigned int /*first*/, unsigned int /*second*/)
{
    STK_LOG_START();
    if (code == NOTIFY_LANGUAGE_CHANGED && m_pStkDialog)
        m_pStkDialog->SetStkUiText();
    STK_LOG_END();
    return 0;
}

#if QT_VERSION < 0x050000
Q_EXPORT_PLUGIN2(STKPlugin, STKPlugin)
#endif
