// The log pane of a device page: messages of the device and the host, errors in red,
// with a clear button and a switch that brings the pane up on each new message.
#pragma once

#include <QWidget>

#include <memory>

class Ui_MsgPanel;

namespace PluginDevControl {

class MsgPanel : public QWidget
{
    Q_OBJECT

public:
    explicit MsgPanel(QWidget* parent = nullptr);
    ~MsgPanel() override;

    // Appends `text`; level 2 (error) is printed in red, every other level in the
    // normal text colour.
    void logMsg(int level, QString text);
    bool openOnMessage() const;

    Ui_MsgPanel* ui;

private slots:
    void on_btClear_clicked();
};

} // namespace PluginDevControl
