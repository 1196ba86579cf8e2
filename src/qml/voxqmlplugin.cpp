#include "qml/voxqmlplugin_p.h"

#include "qml/qmlnetwork_p.h"

/// In the source that qmltyperegistrar makes.
void qml_register_types_Vox();

VoxQmlPlugin::VoxQmlPlugin(QObject *parent)
    : QQmlEngineExtensionPlugin(parent)
{
    // The registration is done by a static object of that source, which has to be linked.
    volatile auto registration = &qml_register_types_Vox;
    Q_UNUSED(registration)
    // Else Qt 5 reads properties of these types as bare numbers.
    qRegisterMetaType<QmlNetwork::Line>();
    qRegisterMetaType<QmlNode::Presence>();
}
