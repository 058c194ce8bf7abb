module example/capture

go 1.19
