#include "smtpsocket1.h"

SMTPSocket1::SMTPSocket1() = default;
