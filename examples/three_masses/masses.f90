! Three masses between two walls, joined by four springs of stiffness 1:
!
!     |~~~(m1)~~~(m2)~~~(m3)~~~|
!
! Their stiffness matrix is K below. With masses of 1 the squares of their angular frequencies are the eigenvalues of K,
! 2 - sqrt(2), 2 and 2 + sqrt(2); with other masses M those of K x = w M x. Compile nuv_lapack.f90, which is installed
! beside the C header, first.
program three_masses
  use, intrinsic :: iso_c_binding
  use nuv_lapack
  implicit none
  integer(c_int), parameter :: n = 3, lwork = 100
  real(c_double), parameter :: stiffness(n, n) = reshape([real(c_double) :: 2, -1, 0, -1, 2, -1, 0, -1, 2], [n, n])
  real(c_double), parameter :: masses(n, n) = reshape([real(c_double) :: 1, 0, 0, 0, 2, 0, 0, 0, 1], [n, n])
  real(c_double) :: a(n, n), b(n, n), w(n), work(lwork)
  integer(c_int) :: info

  ! The values alone ('N') of a matrix whose lower triangle is read ('L'), in ascending order.
  a = stiffness
  call nuv_lapack_dsyev('N', 'L', n, a, n, w, work, lwork, info, 1, 1)
  print '("info = ", i0, ", w =", 3(1x, f6.4))', info, w

  ! With vectors ('V'), which take the place of A. Those of K x = w M x have length one with the masses as weights.
  a = stiffness
  b = masses
  call nuv_lapack_dsygv(1, 'V', 'L', n, a, n, b, n, w, work, lwork, info, 1, 1)
  print '("info = ", i0, ", w =", 3(1x, f6.4))', info, w
  print '("the lowest moves as 1 : ", f6.4, " : ", f6.4)', a(2, 1) / a(1, 1), a(3, 1) / a(1, 1)
  if (info /= 0) stop 1
end program three_masses
