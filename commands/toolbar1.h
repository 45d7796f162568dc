#pragma once

#include <QToolBar>

class QAction;

// The main window's toolbar; its buttons are dispatched by name in Principal::Toolbar11_Action.
class Toolbar1 : public QToolBar
{
    Q_OBJECT

public:
    explicit Toolbar1(QWidget* parent = nullptr);

    QAction* tb_projetos;
    QAction* tb_clientes;
    QAction* tb_label;
    QAction* tb_mail;
    QAction* tb_backup;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QAction* button(const QString& name, const QString& caption, const QImage& icon, const QString& pictureName,
        const QString& description);
};
