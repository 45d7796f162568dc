#pragma once

#include "smtpsocket.h"

class QWidget;

// The SMTP client as a control placed on a window: it knows its window and its place in a control set.
class SMTPSocket1 : public SMTPSocket
{
    Q_OBJECT

public:
    SMTPSocket1();

    qint32 Index = 0;
    QWidget* ownerWindow = nullptr;

    void _SetWindow(QWidget* window) { ownerWindow = window; }
    QWidget* Window() const { return ownerWindow; }
    qint32 _Index() const { return Index; }
    void _SetIndex(qint32 index) { Index = index; }
};
