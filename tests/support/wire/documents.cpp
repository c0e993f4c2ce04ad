#include "support/wire/documents.h"

QByteArray reportDocument()
{
    return R"({
    "AppKey": "demo-key",
    "CDesc": "kx_client",
    "CIP": "0",
    "CType": 0,
    "CVer": "1.2.3",
    "Device": "{\"cpu\":\"\",\"mem\":{},\"net\":[]}",
    "ElapsedTime": 7,
    "Level": 5,
    "LogData": "[src/net.cpp][42][void Net::connect()]no route",
    "LogTitle": "kx_error",
    "OS": "mac",
    "ProdDesc": "KxClient",
    "ReconnCnt": 0,
    "RoomId": "101",
    "SVer": "v1.0.0",
    "Server": "",
    "Timestamp": 0,
    "Trigger": 2,
    "UserSid": "42",
    "VDownload": 0,
    "VUpload": -1
}
)";
}

QByteArray errorDocument()
{
    return R"({
    "message": "no route",
    "namespace": "kavri",
    "role": 0,
    "room_sdk_id": "101",
    "sdk": "5",
    "type": 9007199254740993,
    "user_id": "42",
    "username": "ann"
}
)";
}

QByteArray crashBase()
{
    return R"({"namespace":"demo","nickname":"ann","sdk":5,"user_id":"42","version":"1"})";
}

QByteArray crashInfo()
{
    return R"({"info":[]})";
}
