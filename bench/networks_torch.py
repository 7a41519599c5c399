# The same network, loss, solver and batch as bench/networks.cpp in PyTorch:
# Linear(448, 100), Tanh, Linear(100, 3) with softmax cross entropy, Adam,
# batches of 32 in order, on the same kind of seeded data.
# Usage: networks_torch.py <samples> <epochs> <threads> <repeats>
import sys
import time

import numpy as np
import torch

n, epochs, threads, repeats = (int(a) for a in sys.argv[1:5])
torch.set_num_threads(threads)
rng = np.random.default_rng(20261124)
teacher = rng.normal(size=(448, 3)).astype(np.float32)
x = rng.random((n, 448), dtype=np.float32)
y = np.argmax((x - 0.5) @ teacher, axis=1)
X, Y = torch.from_numpy(x), torch.from_numpy(y)
rates = []
for _ in range(repeats):
    torch.manual_seed(1)
    net = torch.nn.Sequential(torch.nn.Linear(448, 100), torch.nn.Tanh(), torch.nn.Linear(100, 3))
    opt = torch.optim.Adam(net.parameters(), lr=0.004)
    start = time.perf_counter()
    for _ in range(epochs):
        right = 0
        for i in range(0, n, 32):
            xb, yb = X[i:i + 32], Y[i:i + 32]
            opt.zero_grad(set_to_none=True)
            out = net(xb)
            loss = torch.nn.functional.cross_entropy(out, yb)
            loss.backward()
            opt.step()
            right += (out.argmax(1) == yb).sum().item()
    rates.append(n * epochs / (time.perf_counter() - start))
rates.sort()
print(f"BENCH pytorch threads={threads} samples_per_second={rates[len(rates) // 2]:.0f} "
      f"last_epoch_accuracy={100 * right / n:.1f}")
