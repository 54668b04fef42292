400 - Bad Request
